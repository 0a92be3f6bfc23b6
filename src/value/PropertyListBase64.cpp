// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBase64.h"

#include <array>
#include <utility>

#include "value/PropertyListScan.h"

namespace vanto::base64 {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What a byte of text is, where it is not one of the 64.
constexpr std::uint8_t blank = 64;
constexpr std::uint8_t padding = 65;
constexpr std::uint8_t other = 66;

constexpr std::array<std::uint8_t, 256> makeMeanings() noexcept {
  std::array<std::uint8_t, 256> meanings{};
  for (std::uint8_t& meaning : meanings) meaning = other;
  for (std::uint8_t index = 0; index < 64; ++index) meanings[static_cast<unsigned char>(alphabet[index])] = index;
  for (const char byte : {' ', '\t', '\n', '\r'}) meanings[static_cast<unsigned char>(byte)] = blank;
  meanings['='] = padding;
  return meanings;
}
constexpr std::array<std::uint8_t, 256> meanings = makeMeanings();

std::uint8_t meaningOf(char byte) noexcept {
  return meanings[static_cast<unsigned char>(byte)];
}

std::uint8_t* writeBytes(std::uint32_t bits, std::size_t count, std::uint8_t* bytes) noexcept {
  for (std::size_t index = 0; index < count; ++index)
    bytes[index] = static_cast<std::uint8_t>(bits >> (16 - 8 * index));
  return bytes + count;
}

// A group of four that has not been read whole.
struct Group {
  std::uint32_t bits = 0;
  unsigned digits = 0;
  unsigned pads = 0;
};

// Takes in one byte of text; false when it does not belong there.
bool take(Group& group, std::uint8_t meaning) noexcept {
  if (meaning < blank && group.pads == 0) {
    group.bits |= std::uint32_t{meaning} << (18 - 6 * group.digits);
    ++group.digits;
    return true;
  }
  // One digit has too few bits for a byte; what the last byte does not use must be zero.
  if (meaning != padding || group.digits < 2 || group.digits + group.pads == 4) return false;
  if ((group.bits & (group.digits == 2 ? 0xFFFFU : 0xFFU)) != 0) return false;
  ++group.pads;
  return true;
}

}  // namespace

std::size_t decodedLength(std::string_view text) noexcept {
  std::size_t digits = 0;
  for (const char byte : text) digits += !scan::isBlank(byte) && byte != '=' ? 1 : 0;
  return digits * 3 / 4;
}

const char* decode(std::string_view text, std::uint8_t* bytes) noexcept {
  const char* at = text.data();
  const char* end = at + text.size();
  Group group;
  while (at != end) {
    while (end - at >= 4 && group.digits == 0) {
      const std::uint32_t first = meaningOf(at[0]);
      const std::uint32_t second = meaningOf(at[1]);
      const std::uint32_t third = meaningOf(at[2]);
      const std::uint32_t fourth = meaningOf(at[3]);
      if ((first | second | third | fourth) >= blank) break;
      bytes = writeBytes(first << 18U | second << 12U | third << 6U | fourth, 3, bytes);
      at += 4;
    }
    if (at == end) break;
    const std::uint8_t meaning = meaningOf(*at);
    if (meaning != blank && !take(group, meaning)) return at;
    ++at;
    if (group.digits == 4) bytes = writeBytes(std::exchange(group, Group{}).bits, 3, bytes);
  }
  if (group.digits == 0) return nullptr;
  if (group.digits + group.pads != 4) return end;
  static_cast<void>(writeBytes(group.bits, group.digits - 1, bytes));
  return nullptr;
}

char* encode(const std::uint8_t* bytes, std::size_t length, char* text) noexcept {
  std::size_t index = 0;
  const auto digit = [](std::uint32_t bits, unsigned shift) {
    return alphabet[bits >> shift & 63U];
  };
  for (; length - index >= 3; index += 3, text += 4) {
    const std::uint32_t bits =
        std::uint32_t{bytes[index]} << 16U | std::uint32_t{bytes[index + 1]} << 8U | std::uint32_t{bytes[index + 2]};
    text[0] = digit(bits, 18);
    text[1] = digit(bits, 12);
    text[2] = digit(bits, 6);
    text[3] = digit(bits, 0);
  }
  if (length == index) return text;
  const bool two = length - index == 2;
  const std::uint32_t bits = std::uint32_t{bytes[index]} << 16U | (two ? std::uint32_t{bytes[index + 1]} << 8U : 0U);
  text[0] = digit(bits, 18);
  text[1] = digit(bits, 12);
  text[2] = two ? digit(bits, 6) : '=';
  text[3] = '=';
  return text + 4;
}

}  // namespace vanto::base64
