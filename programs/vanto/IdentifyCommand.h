// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto identify`: what the signature of an executable says, as far as the check of a client looks at it.
struct IdentifyCommand {
  std::string file;
  TrustPlaces places;
  bool isJson = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
