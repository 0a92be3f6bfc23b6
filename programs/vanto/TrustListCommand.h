// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto trust list`: whom this user trusts, a row for each key.
struct TrustListCommand {
  TrustPlaces places;
  bool isJson = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
