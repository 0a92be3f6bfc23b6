// SPDX-License-Identifier: Apache-2.0
#include "ipc/DescriptionText.h"

#include <algorithm>

namespace vanto {
namespace {

constexpr std::string_view ellipsis = "...";
constexpr char hexDigits[] = "0123456789abcdef";
/// Bytes of data that are shown.
constexpr std::size_t shownBytes = 16;

std::size_t characterLength(char lead) noexcept {
  const auto byte = static_cast<unsigned char>(lead);
  if (byte < 0x80) return 1;
  if (byte < 0xe0) return 2;
  return byte < 0xf0 ? 3 : 4;
}

}  // namespace

void DescriptionText::add(std::string_view piece) {
  if (isFull_) return;
  isFull_ = piece.size() > limit_ - text_.size();
  text_ += isFull_ ? ellipsis : piece;
}

void DescriptionText::addHex(std::uint8_t byte) {
  const char digits[] = {hexDigits[byte >> 4], hexDigits[byte & 15]};
  add({digits, sizeof digits});
}

void DescriptionText::addQuoted(std::string_view text) {
  add("\"");
  while (!text.empty() && !isFull_) {
    const std::size_t length = std::min(characterLength(text.front()), text.size());
    addCharacter(text.substr(0, length));
    text.remove_prefix(length);
  }
  add("\"");
}

void DescriptionText::addCharacter(std::string_view character) {
  const auto lead = static_cast<unsigned char>(character.front());
  if (lead == '\n') return add("\\n");
  if (lead == '\t') return add("\\t");
  if (lead == '\r') return add("\\r");
  if (lead == '"') return add("\\\"");
  if (lead == '\\') return add("\\\\");
  if (lead < 0x20 || lead == 0x7f) {
    add("\\x");
    addHex(lead);
  } else if (lead == 0xc2 && character.size() == 2 && static_cast<unsigned char>(character[1]) < 0xa0) {
    // The second set of control characters, U+0080 to U+009F.
    add("\\x");
    addHex(static_cast<std::uint8_t>(character[1]));
  } else if (character == "\u2028" || character == "\u2029") {
    // The two that end a line or paragraph.
    add(character == "\u2028" ? "\\u2028" : "\\u2029");
  } else {
    add(character);
  }
}

void DescriptionText::addBytes(const std::uint8_t* bytes, std::size_t length) {
  addNumber(length);
  add(length == 1 ? " byte" : " bytes");
  if (bytes == nullptr || length == 0) return;
  add(" ");
  for (std::size_t index = 0; index < std::min(length, shownBytes); ++index) addHex(bytes[index]);
  if (length > shownBytes) add(ellipsis);
}

}  // namespace vanto
