// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListCharacters.h"

namespace vanto::characters {

namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// What may begin a name, and what may only go on with one, as XML lists it.
constexpr Range nameStarts[] = {
    {':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},         {0xC0, 0xD6},     {0xD8, 0xF6},
    {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D},   {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
constexpr Range nameRest[] = {{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t Count>
bool isIn(const Range (&ranges)[Count], std::uint32_t character) noexcept {
  for (const Range& range : ranges) {
    if (character >= range.first && character <= range.last) return true;
  }
  return false;
}

// Length of a character by its first byte; 0 for a byte that begins none.
std::size_t lengthOf(unsigned char first) noexcept {
  if (first < 0x80) return 1;
  if (first < 0xC2) return 0;
  if (first < 0xE0) return 2;
  if (first < 0xF0) return 3;
  return first < 0xF5 ? 4 : 0;
}

// The smallest character of each length; a smaller one has a shorter form.
constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};

}  // namespace

std::size_t allowedLength(const char* at, const char* end) noexcept {
  if (at == end) return 0;
  const std::size_t length = lengthOf(static_cast<unsigned char>(*at));
  if (length == 0 || static_cast<std::size_t>(end - at) < length) return 0;
  for (std::size_t index = 1; index < length; ++index) {
    if ((static_cast<unsigned char>(at[index]) & 0xC0U) != 0x80U) return 0;
  }
  const std::uint32_t character = decode(at, length);
  return character >= smallest[length] && isAllowed(character) ? length : 0;
}

std::uint32_t decode(const char* at, std::size_t length) noexcept {
  const auto first = static_cast<unsigned char>(*at);
  if (length == 1) return first;
  std::uint32_t character = first & (0x7FU >> length);
  for (std::size_t index = 1; index < length; ++index) {
    character = character << 6U | (static_cast<unsigned char>(at[index]) & 0x3FU);
  }
  return character;
}

std::size_t encode(std::uint32_t character, char* to) noexcept {
  const auto rest = [character](unsigned shift) {
    return static_cast<char>(0x80U | (character >> shift & 0x3FU));
  };
  if (character < 0x80) {
    to[0] = static_cast<char>(character);
    return 1;
  }
  if (character < 0x800) {
    to[0] = static_cast<char>(0xC0U | character >> 6U);
    to[1] = rest(0);
    return 2;
  }
  if (character < 0x10000) {
    to[0] = static_cast<char>(0xE0U | character >> 12U);
    to[1] = rest(6);
    to[2] = rest(0);
    return 3;
  }
  to[0] = static_cast<char>(0xF0U | character >> 18U);
  to[1] = rest(12);
  to[2] = rest(6);
  to[3] = rest(0);
  return 4;
}

const char* skipName(const char* at, const char* end) noexcept {
  for (bool first = true;; first = false) {
    const std::size_t length = allowedLength(at, end);
    if (length == 0) return at;
    const std::uint32_t character = decode(at, length);
    if (!isIn(nameStarts, character) && (first || !isIn(nameRest, character))) return at;
    at += length;
  }
}

}  // namespace vanto::characters
