// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ProfileChoice.h"

namespace vanto::tool {

/// `vanto profile explain`: whether a profile allows something, and which of its lines does.
struct ProfileExplainCommand {
  std::string file;
  /// The name of a right.
  std::string right;
  /// A path or a port; empty for rights that need neither.
  std::string subject;
  ProfileChoice choice;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
