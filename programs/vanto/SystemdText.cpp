// SPDX-License-Identifier: Apache-2.0
#include "vanto/SystemdText.h"

#include <algorithm>
#include <iterator>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

void appendHex(std::string& text, char character) {
  static constexpr char digits[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(character);
  ((text += "\\x") += digits[byte >> 4]) += digits[byte & 15];
}

bool isControl(char character) noexcept {
  return (character >= 0 && character < ' ') || character == '\x7f';
}

/// True when some character beyond ASCII is none that a terminal shows.
bool hasUnsafeCharacters(std::string_view text) {
  std::string rest;
  std::copy_if(text.begin(), text.end(), std::back_inserter(rest), [](char c) { return c != '\\' && !isControl(c); });
  return visible(rest) != rest;
}

bool isOfNames(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '.' || character == '-' || character == '_' ||
         character == ':';
}

/// In quotes. `doubled` are the characters that would expand to something else.
std::string quoted(std::string_view text, std::string_view doubled) {
  const bool isAsciiOnly = hasUnsafeCharacters(text);
  std::string result = "\"";
  for (const char character : text) {
    const bool isForeign = isAsciiOnly && static_cast<unsigned char>(character) > '~';
    if (isControl(character) || isForeign) {
      appendHex(result, character);
      continue;
    }
    if (doubled.find(character) != doubled.npos) result += character;
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result += '"';
}

}  // namespace

std::string SystemdText::value(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == '%') result += '%';
    result += character;
  }
  return result;
}

std::string SystemdText::argument(std::string_view text) {
  return quoted(text, "%$");
}

std::string SystemdText::program(std::string_view path) {
  return quoted(path, "%");
}

std::string SystemdText::unitName(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (isOfNames(character)) {
      result += character;
    } else {
      appendHex(result, character);
    }
  }
  return result;
}

}  // namespace vanto::tool
