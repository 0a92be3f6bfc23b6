// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto trust add`: keeps the public key in a file as one to trust.
struct TrustAddCommand {
  std::string file;
  TrustPlaces places;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
