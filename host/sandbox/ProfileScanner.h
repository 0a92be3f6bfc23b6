// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "sandbox/ProfileErrors.h"
#include "sandbox/ProfileWord.h"

namespace vanto {

/// Cuts the text of a profile into statements, one a line, and those into words. A line that cannot be cut becomes one
/// error and no statement.
class ProfileScanner {
 public:
  /// Both are borrowed.
  ProfileScanner(std::string_view text, ProfileErrors& errors) noexcept : rest_(text), errors_(errors) {}

  /// The words of the next line that has any, at least one; none at the end of the text.
  [[nodiscard]] std::optional<std::vector<ProfileWord>> nextStatement();

 private:
  std::string_view rest_;
  ProfileErrors& errors_;
  /// The number of the last line that was taken.
  std::size_t line_ = 0;
};

}  // namespace vanto
