// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto::test {

/// A new, empty directory that is removed at the end with everything in it, whatever its permissions.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  /// Absolute path without symbolic links and without a slash at its end.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  /// Path of `name` in the directory; nothing is made there.
  [[nodiscard]] std::string operator/(std::string_view name) const;

 private:
  std::string path_;
};

}  // namespace vanto::test
