// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto cache check`: which entries of a cache file are stale, and why.
struct CacheCheckCommand {
  std::string file;
  /// Empty: those that the file names.
  std::vector<std::string> places;
  bool isJson = false;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
