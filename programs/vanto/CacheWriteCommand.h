// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto cache write`: archives the services of places in a file.
struct CacheWriteCommand {
  std::string file;
  /// Empty: those that the file names.
  std::vector<std::string> places;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
