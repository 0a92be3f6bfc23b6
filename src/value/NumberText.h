// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace vanto {

/// The shortest decimal text that reads back as the same number. An integer and a real of integral value look alike.
/// The text lives in the object.
class NumberText {
 public:
  template <typename Number>
  explicit NumberText(Number number) noexcept
      : length_(lengthTo(std::to_chars(std::begin(buffer_), std::end(buffer_), number).ptr)) {}

  [[nodiscard]] std::string_view text() const noexcept { return {buffer_, length_}; }

 private:
  [[nodiscard]] std::size_t lengthTo(const char* end) const noexcept { return static_cast<std::size_t>(end - buffer_); }

  /// The longest are reals such as -2.2250738585072014e-308.
  char buffer_[32];
  std::size_t length_;
};

}  // namespace vanto
