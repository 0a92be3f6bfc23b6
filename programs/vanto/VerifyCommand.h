// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/TrustPlaces.h"

namespace vanto::tool {

/// `vanto verify`: compares everything that a signature is about.
struct VerifyCommand {
  std::string path;
  TrustPlaces places;
  bool isJson = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
