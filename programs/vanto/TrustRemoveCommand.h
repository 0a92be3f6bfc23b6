// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto trust remove`: takes a key out of a trust directory.
struct TrustRemoveCommand {
  std::string name;
  TrustPlaces places;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
