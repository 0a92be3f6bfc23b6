// SPDX-License-Identifier: Apache-2.0
#include "signing/DigestText.h"

#include <algorithm>

namespace vanto {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

constexpr bool isUpperDigit(char byte) noexcept {
  return byte >= 'A' && byte <= 'F';
}

constexpr bool isHexDigit(char byte) noexcept {
  return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f') || isUpperDigit(byte);
}

}  // namespace

std::string digestText(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += hexDigits[byte >> 4];
    text += hexDigits[byte & 15];
  }
  return text;
}

bool isDigestText(std::string_view text) noexcept {
  return text.size() == 2 * digestBytes && std::all_of(text.begin(), text.end(), isHexDigit);
}

std::string canonicalDigestText(std::string_view text) {
  std::string result(text);
  for (char& byte : result) byte = isUpperDigit(byte) ? static_cast<char>(byte - 'A' + 'a') : byte;
  return result;
}

}  // namespace vanto
