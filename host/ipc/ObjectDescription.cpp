// SPDX-License-Identifier: Apache-2.0
#include "ipc/ObjectDescription.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "ipc/ArrayObject.h"
#include "ipc/DataObject.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/FdObject.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"
#include "value/limits.h"

namespace vanto {
namespace {

constexpr std::string_view ellipsis = "...";
constexpr char hexDigits[] = "0123456789abcdef";
/// Bytes of a data object that are shown.
constexpr std::size_t shownBytes = 16;

/// The text so far; it takes nothing more once it is full.
class Text {
 public:
  void add(std::string_view piece) {
    if (isFull_) return;
    if (piece.size() > limits::ipcDescriptionBytes - text_.size()) return cut();
    text_ += piece;
  }

  template <typename Number>
  void addNumber(Number number) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
    static_cast<void>(error);  // 32 characters hold any number
    add({digits, static_cast<std::size_t>(end - digits)});
  }

  void addHex(std::uint8_t byte) {
    const char digits[] = {hexDigits[byte >> 4], hexDigits[byte & 15]};
    add({digits, sizeof digits});
  }

  void addQuoted(std::string_view text);

  [[nodiscard]] bool isFull() const noexcept { return isFull_; }
  [[nodiscard]] std::string take() noexcept { return std::move(text_); }

 private:
  void addCharacter(std::string_view character);

  void cut() {
    text_ += ellipsis;
    isFull_ = true;
  }

  std::string text_;
  bool isFull_ = false;
};

std::size_t characterLength(char lead) noexcept {
  const auto byte = static_cast<unsigned char>(lead);
  if (byte < 0x80) return 1;
  if (byte < 0xe0) return 2;
  return byte < 0xf0 ? 3 : 4;
}

void Text::addQuoted(std::string_view text) {
  add("\"");
  while (!text.empty() && !isFull_) {
    const std::size_t length = std::min(characterLength(text.front()), text.size());
    addCharacter(text.substr(0, length));
    text.remove_prefix(length);
  }
  add("\"");
}

void Text::addCharacter(std::string_view character) {
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

void addObject(Text& text, const vanto_object* object, std::size_t depth);

void addData(Text& text, const DataObject& data) {
  text.addNumber(data.length());
  text.add(data.length() == 1 ? " byte" : " bytes");
  const std::uint8_t* bytes = data.bytes();
  if (bytes == nullptr) return;
  text.add(" ");
  for (std::size_t index = 0; index < std::min(data.length(), shownBytes); ++index) text.addHex(bytes[index]);
  if (data.length() > shownBytes) text.add(ellipsis);
}

void addArray(Text& text, const ArrayObject& array, std::size_t depth) {
  if (depth > limits::ipcDescriptionNesting) return text.add("[...]");
  text.add("[");
  bool isFirst = true;
  for (const vanto_object* element : array.elements()) {
    if (text.isFull()) return;
    if (!std::exchange(isFirst, false)) text.add(", ");
    addObject(text, element, depth);
  }
  text.add("]");
}

void addDictionary(Text& text, const DictionaryObject& dictionary, std::size_t depth) {
  if (depth > limits::ipcDescriptionNesting) return text.add("{...}");
  text.add("{");
  bool isFirst = true;
  DictionaryObject::Cursor cursor(dictionary);
  while (const DictionaryObject::Entry* entry = cursor.next()) {
    if (text.isFull()) return;
    if (!std::exchange(isFirst, false)) text.add(", ");
    text.addQuoted(entry->key.text());
    text.add(": ");
    addObject(text, entry->value, depth);
  }
  text.add("}");
}

void addError(Text& text, const ErrorObject& error) {
  text.add("error ");
  text.addNumber(static_cast<std::uint32_t>(error.code()));
  text.add(" ");
  text.addQuoted(error.text());
}

/// `depth` is that of a container which comes next, counted from 1.
void addObject(Text& text, const vanto_object* object, std::size_t depth) {
  if (object == nullptr) return text.add("(null)");
  switch (object->kind()) {
    case VANTO_KIND_STRING:
      return text.addQuoted(static_cast<const StringObject*>(object)->text());
    case VANTO_KIND_BOOL:
      return text.add(static_cast<const BoolObject*>(object)->value() ? "true" : "false");
    case VANTO_KIND_INT64:
      return text.addNumber(static_cast<const Int64Object*>(object)->value());
    case VANTO_KIND_DOUBLE:
      return text.addNumber(static_cast<const DoubleObject*>(object)->value());
    case VANTO_KIND_DATA:
      return addData(text, *static_cast<const DataObject*>(object));
    case VANTO_KIND_ARRAY:
      return addArray(text, *static_cast<const ArrayObject*>(object), depth + 1);
    case VANTO_KIND_DICTIONARY:
      return addDictionary(text, *static_cast<const DictionaryObject*>(object), depth + 1);
    case VANTO_KIND_FD:
      text.add("fd ");
      return text.addNumber(static_cast<const FdObject*>(object)->descriptor());
    case VANTO_KIND_ERROR:
      return addError(text, *static_cast<const ErrorObject*>(object));
    case VANTO_KIND_MESSAGE:
      return text.add("message");
    case VANTO_KIND_LISTENER:
      return text.add("listener");
    case VANTO_KIND_CONNECTION:
      return text.add("connection");
    case VANTO_KIND_NONE:
      break;
  }
  text.add("object");
}

}  // namespace

std::string describe(const vanto_object* object) {
  Text text;
  addObject(text, object, 0);
  return text.take();
}

}  // namespace vanto
