// SPDX-License-Identifier: Apache-2.0
#include "vanto/VisibleText.h"

#include <algorithm>
#include <cwchar>
#include <vector>

#include <locale.h>

#include "value/HiddenCharacter.h"

namespace vanto::tool {
namespace {

/// Has the C library take text for UTF-8 on this thread, whatever the user's settings say.
class Utf8Locale {
 public:
  Utf8Locale() noexcept : previous_(uselocale(theLocale())) {}
  ~Utf8Locale() { uselocale(previous_); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t theLocale() noexcept {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  locale_t previous_;
};

/// The first character of a text that is not empty.
struct Character {
  wchar_t code = 0;
  /// 1 for a byte that begins no character.
  std::size_t length = 1;
  bool isValid = false;
};

Character firstOf(std::string_view text) noexcept {
  if (static_cast<unsigned char>(text.front()) < 0x80) return {static_cast<wchar_t>(text.front()), 1, true};
  std::mbstate_t state{};
  wchar_t code = 0;
  const std::size_t length = std::mbrtowc(&code, text.data(), text.size(), &state);
  const bool isValid = length != 0 && length <= text.size() && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
  return isValid ? Character{code, length, true} : Character{};
}

/// True for text that needs no look at its characters: printable ASCII without a backslash.
bool isPlain(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
}

void appendHex(std::string& text, unsigned value, int digits) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) text += "0123456789abcdef"[value >> shift & 15];
}

void appendEscaped(std::string& text, wchar_t code) {
  if (code == '\n') {
    text += "\\n";
  } else if (code == '\r') {
    text += "\\r";
  } else if (code == '\t') {
    text += "\\t";
  } else if (code < 0x80) {
    text += "\\x";
    appendHex(text, static_cast<unsigned>(code), 2);
  } else {
    text += "\\u{";
    appendHex(text, static_cast<unsigned>(code), code > 0xffff ? 5 : 4);
    text += '}';
  }
}

void appendJsonEscaped(std::string& text, wchar_t code) {
  auto unit = [&text](unsigned value) {
    text += "\\u";
    appendHex(text, value, 4);
  };
  const auto value = static_cast<unsigned>(code);
  if (value > 0xffff) {
    unit(0xd800 + ((value - 0x10000) >> 10));
    unit(0xdc00 + (value & 0x3ff));
  } else {
    unit(value);
  }
}

void appendXmlEscaped(std::string& text, wchar_t code) {
  text += "&#x";
  appendHex(text, static_cast<unsigned>(code), code > 0xffff ? 5 : code > 0xff ? 4 : 2);
  text += ';';
}

/// `text`, which is valid UTF-8, with each unsafe character that is not one of `kept` in the way of its format.
std::string rewritten(std::string_view text, std::string_view kept, void (*append)(std::string&, wchar_t)) {
  const Utf8Locale locale;
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstOf(text);
    const bool isKept = character.length == 1 && kept.find(text.front()) != kept.npos;
    if (character.isValid && isHiddenCharacter(static_cast<char32_t>(character.code)) && !isKept) {
      append(result, character.code);
    } else {
      result += text.substr(0, character.length);
    }
    text.remove_prefix(character.length);
  }
  return result;
}

std::size_t columnsOfCharacter(wchar_t code) noexcept {
  const int columns = wcwidth(code);
  return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

/// Length in bytes of as much of the beginning of `text` as has room in `columns`.
std::size_t lengthOfBeginning(std::string_view text, std::size_t columns) noexcept {
  std::size_t length = 0;
  while (length < text.size()) {
    const Character character = firstOf(text.substr(length));
    const std::size_t needed = columnsOfCharacter(character.code);
    if (needed > columns) break;
    columns -= needed;
    length += character.length;
  }
  return length;
}

}  // namespace

std::string visible(std::string_view bytes) {
  if (isPlain(bytes)) return std::string(bytes);
  const Utf8Locale locale;
  std::string text;
  while (!bytes.empty()) {
    const Character character = firstOf(bytes);
    if (!character.isValid) {
      text += "\\x";
      appendHex(text, static_cast<unsigned char>(bytes.front()), 2);
    } else if (isHiddenCharacter(static_cast<char32_t>(character.code))) {
      appendEscaped(text, character.code);
    } else {
      if (character.code == '\\') text += '\\';
      text += bytes.substr(0, character.length);
    }
    bytes.remove_prefix(character.length);
  }
  return text;
}

std::string visibleJson(std::string_view json) {
  return rewritten(json, "\n", appendJsonEscaped);
}

std::string visibleXml(std::string_view xml) {
  return rewritten(xml, "\n\t", appendXmlEscaped);
}

std::string visibleLines(std::string_view text) {
  std::string result;
  for (;;) {
    const std::size_t end = text.find('\n');
    result += visible(text.substr(0, end));
    if (end == text.npos) return result;
    result += '\n';
    text.remove_prefix(end + 1);
  }
}

std::size_t columnsOf(std::string_view text) noexcept {
  if (isPlain(text)) return text.size();
  const Utf8Locale locale;
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstOf(text);
    columns += columnsOfCharacter(character.code);
    text.remove_prefix(character.length);
  }
  return columns;
}

std::string cutToColumns(std::string_view text, std::size_t columns) {
  const std::size_t all = columnsOf(text);
  if (all <= columns || columns == 0) return std::string(text.substr(0, columns == 0 ? 0 : text.size()));
  const Utf8Locale locale;
  // The end of a path tells more than its beginning.
  const std::size_t before = (columns - 1) / 3;
  std::string result(text.substr(0, lengthOfBeginning(text, before)));
  result += "…";
  std::string_view behind = text;
  for (std::size_t left = all; left > columns - 1 - before;) {
    const Character character = firstOf(behind);
    left -= columnsOfCharacter(character.code);
    behind.remove_prefix(character.length);
  }
  return result.append(behind);
}

}  // namespace vanto::tool
