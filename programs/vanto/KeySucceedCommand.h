// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto key succeed`: prints the statement of an old key that a new one takes its place.
struct KeySucceedCommand {
  /// The private key that is given up.
  std::string oldFile;
  /// The new one, private or public.
  std::string newFile;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
