// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// The characters of XML, as UTF-8.
namespace vanto::characters {

/// A character that may stand in an XML document.
[[nodiscard]] constexpr bool isAllowed(std::uint32_t character) noexcept {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  if (character < 0xD800) return true;
  return (character >= 0xE000 && character <= 0xFFFD) || (character >= 0x10000 && character <= 0x10FFFF);
}

/// Length of the character at `at` when it is well-formed UTF-8, in its shortest form, and allowed; else 0.
[[nodiscard]] std::size_t allowedLength(const char* at, const char* end) noexcept;

/// The code point of the character of `length` bytes at `at`, which allowedLength() gave.
[[nodiscard]] std::uint32_t decode(const char* at, std::size_t length) noexcept;

/// Writes `character` as UTF-8 to `to`, which has room for 4 bytes; gives the number of bytes.
[[nodiscard]] std::size_t encode(std::uint32_t character, char* to) noexcept;

/// The end of the XML name at `at`; `at` itself when there is none.
[[nodiscard]] const char* skipName(const char* at, const char* end) noexcept;

}  // namespace vanto::characters
