// SPDX-License-Identifier: Apache-2.0
#include "value/Utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vanto {

namespace {

using Byte = unsigned char;

/// True when a Word full of bytes at `position` is all ASCII.
template <typename Word>
bool isASCII(const Byte* position) noexcept {
  constexpr Word highBits = static_cast<Word>(0x8080808080808080);
  Word word = 0;
  std::memcpy(&word, position, sizeof word);
  return (word & highBits) == 0;
}

/// Skips ASCII, several bytes at a time where it can.
const Byte* skipASCII(const Byte* position, const Byte* end) noexcept {
  while (end - position >= 8 && isASCII<std::uint64_t>(position)) position += 8;
  if (end - position >= 4 && isASCII<std::uint32_t>(position)) position += 4;
  while (position != end && *position < 0x80) ++position;
  return position;
}

/// What may follow a first byte: how many bytes, and the range of the first of them. All later ones are 80 to BF.
struct Continuation {
  std::size_t length;
  Byte lowest;
  Byte highest;
};

/// Length 0 for a byte that starts no character outside ASCII.
constexpr Continuation continuationAfter(Byte first) noexcept {
  if (first < 0xC2) return {0, 0, 0};         // a continuation byte, or an overlong form of two
  if (first < 0xE0) return {1, 0x80, 0xBF};   //
  if (first == 0xE0) return {2, 0xA0, 0xBF};  // below: overlong
  if (first == 0xED) return {2, 0x80, 0x9F};  // above: surrogates
  if (first < 0xF0) return {2, 0x80, 0xBF};   //
  if (first == 0xF0) return {3, 0x90, 0xBF};  // below: overlong
  if (first < 0xF4) return {3, 0x80, 0xBF};   //
  if (first == 0xF4) return {3, 0x80, 0x8F};  // above: beyond U+10FFFF
  return {0, 0, 0};
}

/// The position behind the character that starts at `position`, or null when there is none.
const Byte* skipCharacter(const Byte* position, const Byte* end) noexcept {
  const Continuation continuation = continuationAfter(*position++);
  if (continuation.length == 0 || static_cast<std::size_t>(end - position) < continuation.length) return nullptr;
  if (*position < continuation.lowest || *position > continuation.highest) return nullptr;
  for (std::size_t index = 1; index < continuation.length; ++index) {
    if ((position[index] & 0xC0) != 0x80) return nullptr;
  }
  return position + continuation.length;
}

}  // namespace

bool isValidUtf8(std::string_view text) noexcept {
  const Byte* position = reinterpret_cast<const Byte*>(text.data());
  const Byte* const end = position + text.size();
  while ((position = skipASCII(position, end)) != end) {
    position = skipCharacter(position, end);
    if (position == nullptr) return false;
  }
  return true;
}

std::size_t lengthOfFirstCharacter(std::string_view text) noexcept {
  std::size_t length = 1;
  while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) ++length;
  return length;
}

char32_t characterIn(std::string_view text) noexcept {
  const auto first = static_cast<unsigned char>(text.front());
  if (text.size() == 1) return first;
  char32_t code = first & (0x7fU >> text.size());
  for (const char next : text.substr(1)) code = code << 6 | (static_cast<unsigned char>(next) & 0x3fU);
  return code;
}

}  // namespace vanto
