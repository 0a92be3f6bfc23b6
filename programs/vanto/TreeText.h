// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace vanto::tool {

/// The lines of a tree for people, two blanks deeper with each level. Indentation can make a tree hundreds of times as
/// long as the document it shows, and documents come from anybody, so the text has an end: behind it a line says so.
class TreeText {
 public:
  /// As much as a property list may have.
  static constexpr std::size_t usualLimit = std::size_t{64} << 20;

  explicit TreeText(std::size_t limit = usualLimit) noexcept : limit_(limit) {}

  /// Adds a line, which is visible text. False when the text has come to its end; lines then change nothing.
  bool add(std::size_t level, std::string_view line);

  [[nodiscard]] bool isFull() const noexcept { return isFull_; }
  [[nodiscard]] std::string take() noexcept { return std::move(text_); }

 private:
  std::string text_;
  std::size_t limit_;
  bool isFull_ = false;
};

}  // namespace vanto::tool
