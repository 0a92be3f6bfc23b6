// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace vanto {

/// A description for people while it is written: one line, which takes nothing more once it is full.
class DescriptionText {
 public:
  /// A text that is cut behind `limit` bytes, which three dots show.
  explicit DescriptionText(std::size_t limit) noexcept : limit_(limit) {}

  void add(std::string_view piece);

  template <typename Number>
  void addNumber(Number number) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
    static_cast<void>(error);  // 32 characters hold any number
    add({digits, static_cast<std::size_t>(end - digits)});
  }

  /// Text in quotes, with everything escaped that would end the quotes or the line.
  void addQuoted(std::string_view text);

  /// How many bytes, and the first of them; not these when `bytes` is null.
  void addBytes(const std::uint8_t* bytes, std::size_t length);

  [[nodiscard]] bool isFull() const noexcept { return isFull_; }
  [[nodiscard]] std::string take() noexcept { return std::move(text_); }

 private:
  void addCharacter(std::string_view character);
  void addHex(std::uint8_t byte);

  const std::size_t limit_;
  std::string text_;
  bool isFull_ = false;
};

}  // namespace vanto
