// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace vanto::test {

/// The numbers of this process's open descriptors, to compare before and after.
[[nodiscard]] inline std::set<std::string> openDescriptors() {
  std::set<std::string> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    numbers.insert(entry.path().filename().string());
  }
  return numbers;
}

}  // namespace vanto::test
