// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Bytes as base64 text.
namespace vanto::base64 {

/// Number of bytes that `text` stands for, if it is well-formed.
[[nodiscard]] std::size_t decodedLength(std::string_view text) noexcept;

/// Decodes `text`, in which blanks count for nothing, to `bytes`, which has room for decodedLength(). Strict: groups of
/// four, padding where it belongs and nowhere else, no stray bits under it. Null, or the place of the mistake.
[[nodiscard]] const char* decode(std::string_view text, std::uint8_t* bytes) noexcept;

[[nodiscard]] constexpr std::size_t encodedLength(std::size_t length) noexcept {
  return (length + 2) / 3 * 4;
}

/// Writes the text of `length` bytes, without blanks, to `text`; gives the place behind it.
[[nodiscard]] char* encode(const std::uint8_t* bytes, std::size_t length, char* text) noexcept;

}  // namespace vanto::base64
