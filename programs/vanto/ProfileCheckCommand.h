// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ProfileChoice.h"

namespace vanto::tool {

/// `vanto profile check`: what is wrong with a profile, and what kernels would leave open of what it denies.
struct ProfileCheckCommand {
  std::string file;
  ProfileChoice choice;
  bool isJson = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
