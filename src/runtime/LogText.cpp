// SPDX-License-Identifier: Apache-2.0
#include "runtime/LogText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "value/Utf8.h"
#include "value/limits.h"

namespace vanto {
namespace {

constexpr char hexDigits[] = "0123456789abcdef";

/// Length of the character that `text`, which is not empty, begins with; 0 when that is no UTF-8.
std::size_t characterLength(std::string_view text) noexcept {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t announced = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  return announced <= text.size() && isValidUtf8(text.substr(0, announced)) ? announced : 0;
}

bool mustBeEscaped(std::string_view character) noexcept {
  if (character.size() == 1) return character.front() < ' ' || character.front() == '\x7f';
  // U+0080 to U+009F, and the line and paragraph separators U+2028 and U+2029.
  if (character.size() == 2) return character.front() == '\xc2' && character.back() < '\xa0';
  return character == "\xe2\x80\xa8" || character == "\xe2\x80\xa9";
}

void appendEscaped(std::string& result, std::string_view bytes) {
  for (const char byte : bytes) {
    const auto value = static_cast<std::uint8_t>(byte);
    if (byte == '\n') {
      result += "\\n";
    } else if (byte == '\r') {
      result += "\\r";
    } else if (byte == '\t') {
      result += "\\t";
    } else {
      result += {'\\', 'x', hexDigits[value >> 4], hexDigits[value & 15]};
    }
  }
}

}  // namespace

LogText::LogText(std::string_view text) noexcept {
  std::size_t used = 0;
  while (used < text.size()) {
    const std::string_view rest = text.substr(used);
    const std::size_t length = characterLength(rest);
    const std::string_view piece = rest.substr(0, std::max(length, std::size_t{1}));
    if (used + piece.size() > limits::logTextBytes) {
      escaped_ += "...";
      return;
    }
    if (length == 0 || mustBeEscaped(piece)) {
      appendEscaped(escaped_, piece);
    } else {
      escaped_ += piece;
    }
    used += piece.size();
  }
}

LogText::LogText(const PlistString* text) noexcept : LogText(text == nullptr ? "(null)" : text->text()) {}

}  // namespace vanto
