// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Short text as machine words, so that keys are tested and compared eight bytes at a time.
namespace vanto {

/// The first eight bytes at `text` as a number in which the first byte is the most significant: such numbers are in the
/// order of the bytes.
[[nodiscard]] inline std::uint64_t textWord(const char* text) noexcept {
  std::uint64_t word;
  std::memcpy(&word, text, sizeof(word));
  return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

/// The same of text of `length` bytes, 0 to 7, with zeros behind it. Reads nothing behind the text.
[[nodiscard]] inline std::uint64_t shortTextWord(const char* text, std::size_t length) noexcept {
  const auto byte = [text](std::size_t index) {
    return std::uint64_t{static_cast<unsigned char>(text[index])} << (56 - 8 * index);
  };
  const auto half = [text](std::size_t index) {
    std::uint32_t word;
    std::memcpy(&word, text + index, sizeof(word));
    if (std::endian::native == std::endian::little) word = __builtin_bswap32(word);
    return std::uint64_t{word} << 32 >> 8 * index;
  };
  // The pieces overlap, and where they do they are the same.
  if (length >= 4) return half(0) | half(length - 4);
  if (length == 0) return 0;
  return byte(0) | byte(length / 2) | byte(length - 1);
}

/// True when no byte of the word is NUL or outside ASCII.
[[nodiscard]] inline bool isPlainWord(std::uint64_t word) noexcept {
  constexpr std::uint64_t ones = 0x0101'0101'0101'0101;
  constexpr std::uint64_t highBits = 0x8080'8080'8080'8080;
  return (((word - ones) | word) & highBits) == 0;
}

/// True when text of any length has neither NUL nor anything outside ASCII.
[[nodiscard]] inline bool isPlainText(const char* text, std::size_t length) noexcept {
  std::size_t place = 0;
  for (; length - place >= 8; place += 8) {
    if (!isPlainWord(textWord(text + place))) return false;
  }
  const std::size_t rest = length - place;
  constexpr std::uint64_t letters = 0x6161'6161'6161'6161;
  return isPlainWord(shortTextWord(text + place, rest) | letters >> 8 * rest);
}

}  // namespace vanto
