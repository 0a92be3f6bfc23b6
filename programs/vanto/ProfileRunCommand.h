// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ProfileChoice.h"

namespace vanto::tool {

/// `vanto profile run`: confines this process by a profile, then executes a command in its place.
struct ProfileRunCommand {
  std::string file;
  /// Its name or path, and its arguments.
  std::vector<std::string> command;
  ProfileChoice choice;

  /// Returns only when the command was not executed; the process may be confined then.
  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
