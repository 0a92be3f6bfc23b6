// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileWord.h"

#include <algorithm>

#include "value/HiddenCharacter.h"
#include "value/Utf8.h"

namespace vanto {
namespace {

constexpr std::size_t shownBytes = 120;

void appendHexadecimal(std::string& text, std::string_view bytes) {
  constexpr const char* digits = "0123456789abcdef";
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    text += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
  }
}

/// `character` is a byte where the text is not UTF-8.
bool isHidden(std::string_view character, bool isUtf8) noexcept {
  return (!isUtf8 && static_cast<unsigned char>(character.front()) >= 0x80) ||
         isHiddenCharacter(characterIn(character));
}

/// What a reader would not see is escaped, since people judge profiles by what they see. So is all above ASCII where
/// `text` as a whole is not UTF-8, as a profile is.
std::string escaped(std::string_view text) {
  const bool isUtf8 = isValidUtf8(text);
  std::string result;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, isUtf8 ? lengthOfFirstCharacter(text) : 1);
    text.remove_prefix(character.size());
    if (character == "\n") {
      result += "\\n";
    } else if (character == "\t") {
      result += "\\t";
    } else if (character == "\"" || character == "\\" || character == "$") {
      (result += '\\') += character;
    } else if (isHidden(character, isUtf8)) {
      appendHexadecimal(result, character);
    } else {
      result += character;
    }
  }
  return result;
}

bool needsQuotes(std::string_view text) {
  return text.empty() || text.front() == '#' || text.find(' ') != std::string_view::npos || escaped(text) != text;
}

}  // namespace

bool ProfileWord::hasParameters() const noexcept {
  return std::ranges::any_of(pieces, [](const Piece& piece) { return piece.kind == Piece::Kind::Parameter; });
}

std::optional<std::string_view> ProfileWord::plainText() const noexcept {
  if (pieces.empty()) return std::string_view();
  if (pieces.size() > 1 || pieces.front().kind == Piece::Kind::Parameter) return std::nullopt;
  return pieces.front().text;
}

std::string ProfileWord::shown() const {
  std::string text;
  for (const Piece& piece : pieces) text += piece.kind == Piece::Kind::Parameter ? "${" + piece.text + "}" : piece.text;
  return shownWord(text);
}

std::string writtenWord(std::string_view text) {
  return needsQuotes(text) ? "\"" + escaped(text) + "\"" : std::string(text);
}

std::string shownWord(std::string_view text) {
  if (text.size() <= shownBytes) return "\"" + escaped(text) + "\"";
  std::size_t length = shownBytes;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) --length;
  return "\"" + escaped(text.substr(0, length)) + "…\"";
}

}  // namespace vanto
