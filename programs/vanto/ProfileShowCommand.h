// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto profile show`: a base profile.
struct ProfileShowCommand {
  /// Empty for the names of all.
  std::string name;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
