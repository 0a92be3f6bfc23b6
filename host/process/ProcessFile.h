// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

#include <sys/types.h>

namespace vanto {

/// The path of a file about a process in /proc, without allocating.
class ProcessFile {
 public:
  /// `name` has at most longestName bytes.
  ProcessFile(pid_t pid, std::string_view name) noexcept {
    char* end = path_ + directory.copy(path_, directory.size());
    end = std::to_chars(end, end + longestNumber, pid).ptr;
    *end++ = '/';
    end += name.copy(end, longestName);
    *end = '\0';
  }

  [[nodiscard]] const char* path() const noexcept { return path_; }

  static constexpr std::size_t longestName = 32;

 private:
  static constexpr std::string_view directory = "/proc/";
  static constexpr std::size_t longestNumber = 20;

  char path_[directory.size() + longestNumber + 1 + longestName + 1];
};

}  // namespace vanto
