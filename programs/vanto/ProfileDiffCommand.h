// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ProfileChoice.h"

namespace vanto::tool {

/// `vanto profile diff`: what a changed profile newly allows and newly denies.
struct ProfileDiffCommand {
  std::string older;
  std::string newer;
  ProfileChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
