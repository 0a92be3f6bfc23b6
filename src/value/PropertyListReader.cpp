// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListReader.h"

#include <string>

#include "value/PropertyListBase64.h"
#include "value/PropertyListMarkup.h"
#include "value/PropertyListScalars.h"
#include "value/PropertyListScan.h"
#include "value/PropertyListText.h"
#include "value/PropertyListTree.h"

// The reader walks once through the text and hands each value to the tree where it ends. All usual forms of a tag are
// compared as machine words; the rest of what XML allows (blanks in tags, empty elements, comments, references,
// sections) goes through slower functions beside. Every step takes the place where it begins and gives the place behind
// what it read, or null after a mistake, which the source then holds.

namespace vanto {

namespace {

using propertylist::Text;
using scan::startsWith;
using Element = PropertyListElement;
using Slot = PropertyListTree::Slot;

constexpr const char* expectedValue = "expected a value";
constexpr const char* expectedKey = "expected <key> or </dict>";
constexpr const char* expectedElement = "expected a value or </array>";

struct Tag {
  Element element;
  bool isEnd;
  bool isEmpty;
};

class Reader {
 public:
  Reader(const char* begin, std::size_t size) noexcept : source_{begin, begin + size}, end_(source_.end), tree_(size) {}

  /// The value of the document, or null.
  [[nodiscard]] Ref<PlistValue> read() noexcept;
  [[nodiscard]] PropertyListError mistake() const;

 private:
  const char* readDocument() noexcept;
  const char* readRootTag(const char* at) noexcept;
  const char* readTree(const char* at) noexcept;

  const char* skipToTag(const char* at, const char* expected) noexcept {
    at = scan::skipBlanks(at, end_);
    if (end_ - at >= 2 && *at == '<' && at[1] != '!' && at[1] != '?') [[likely]]
      return at;
    return skipToTagSlowly(at, expected);
  }
  const char* skipToTagSlowly(const char* at, const char* expected) noexcept;
  const char* readTag(const char* at, Tag& tag, const char* expected) noexcept;

  const char* readEntry(const char* at) noexcept;
  const char* readUnusualEntry(const char* at) noexcept;
  const char* readKey(const char* at, PlistString*& key) noexcept;
  const char* readKeyedValue(const char* at, Slot slot) noexcept {
    at = skipToTag(at, expectedValue);
    return at == nullptr ? nullptr : readValue(at, slot, expectedValue);
  }
  const char* readElement(const char* at) noexcept;
  const char* readValue(const char* at, Slot slot, const char* expected) noexcept;
  const char* readUnusualValue(const char* at, Slot slot, const char* expected) noexcept;
  const char* readEmptyElement(const char* place, const char* at, Element element, Slot slot) noexcept;
  const char* readTaggedValue(const char* at, Element element, Slot slot) noexcept;

  const char* openContainer(const char* place, const char* at, bool isDictionary, Slot slot) noexcept;
  const char* closeContainer(const char* at) noexcept;

  template <std::size_t Size>
  const char* readString(const char* at, const char (&endTag)[Size], Element element, PlistString*& string) noexcept;
  const char* readInteger(const char* at, Slot slot) noexcept;
  const char* readIntegerSlowly(const char* at, Slot slot) noexcept;
  const char* readReal(const char* at, Slot slot) noexcept;
  const char* readDate(const char* at, Slot slot) noexcept;
  const char* readData(const char* at, Slot slot) noexcept;
  const char* failInText(const char* place, const char* mistake, const Text& text, const char* expected) noexcept {
    return source_.fail(text.isSource ? mistake : place, expected);
  }

  PropertyListSource source_;
  const char* const end_;
  PropertyListTree tree_;
  GrowingBytes scratch_;
};

Ref<PlistValue> Reader::read() noexcept {
  return readDocument() != nullptr ? tree_.root() : nullptr;
}

PropertyListError Reader::mistake() const {
  PropertyListError error{1, 1, source_.message};
  const char* line = source_.begin;
  for (const char* at = line; at != source_.mistake; ++at) {
    const bool endsLine = *at == '\n' || (*at == '\r' && !startsWith(at, source_.end, "\r\n"));
    if (!endsLine) continue;
    ++error.line;
    line = at + 1;
  }
  error.column = static_cast<std::size_t>(source_.mistake - line) + 1;
  return error;
}

const char* Reader::readDocument() noexcept {
  const char* at = markup::skipProlog(source_);
  if (at != nullptr) at = readRootTag(at);
  if (at != nullptr) at = skipToTag(at, expectedValue);
  if (at != nullptr) at = readTree(at);
  if (at != nullptr) at = skipToTag(at, "expected </plist>");
  if (at != nullptr) at = propertylist::skipEndTag(source_, at, Element::PropertyList);
  if (at != nullptr) at = markup::skipMiscellany(source_, at);
  if (at == nullptr || at == end_) return at;
  return source_.fail(at, "expected nothing more behind </plist>");
}

const char* Reader::readRootTag(const char* at) noexcept {
  if (!startsWith(at, end_, "<plist")) return source_.fail(at, "expected the root element <plist>");
  const char* behind = at + 6;
  at = scan::skipBlanks(behind, end_);
  if (at != behind && startsWith(at, end_, "version")) {
    std::string_view version;
    behind = markup::readAttributeValue(source_, at + 7, version);
    if (behind == nullptr) return nullptr;
    if (version != "1.0") return source_.fail(version.data(), "expected version 1.0 of the property list");
    at = scan::skipBlanks(behind, end_);
  }
  if (at == end_ || *at != '>') return source_.fail(at, "expected > at the end of the tag");
  return at + 1;
}

const char* Reader::readTree(const char* at) noexcept {
  at = readValue(at, {nullptr, at}, expectedValue);
  while (at != nullptr && tree_.isOpen()) at = tree_.isInDictionary() ? readEntry(at) : readElement(at);
  return at;
}

const char* Reader::skipToTagSlowly(const char* at, const char* expected) noexcept {
  at = markup::skipMiscellany(source_, at);
  if (at == nullptr) return nullptr;
  if (end_ - at < 2 || *at != '<' || at[1] == '!') return source_.fail(at, expected);
  return at;
}

// Reads any tag of an element that may be a value, or the end tag of one.
const char* Reader::readTag(const char* at, Tag& tag, const char* expected) noexcept {
  tag.isEnd = at[1] == '/';
  const char* name = at + (tag.isEnd ? 2 : 1);
  const char* behind = name;
  while (behind != end_ && *behind >= 'a' && *behind <= 'z') ++behind;
  int index = 0;
  while (propertylist::nameOf(static_cast<Element>(index)) != std::string_view(name, behind)) {
    if (++index == static_cast<int>(Element::PropertyList)) return source_.fail(at, expected);
  }
  tag.element = static_cast<Element>(index);
  const char* rest = scan::skipBlanks(behind, end_);
  tag.isEmpty = !tag.isEnd && rest != end_ && *rest == '/';
  if (tag.isEmpty) ++rest;
  if (rest == end_ || *rest != '>') return source_.fail(rest, "expected > at the end of the tag");
  return rest + 1;
}

// Reads the next entry of the innermost container, a dictionary, or its end.
const char* Reader::readEntry(const char* at) noexcept {
  at = skipToTag(at, expectedKey);
  if (at == nullptr) return nullptr;
  if (startsWith(at, end_, "<key>")) [[likely]] {
    Slot slot{nullptr, at};
    at = readKey(at + 5, slot.key);
    return at == nullptr ? nullptr : readKeyedValue(at, slot);
  }
  if (startsWith(at, end_, "</dict>")) [[likely]]
    return closeContainer(at + 7);
  return readUnusualEntry(at);
}

const char* Reader::readKey(const char* at, PlistString*& key) noexcept {
  const char* stop = scan::findTextStop(at, end_);
  // The end tag and the end of the document make up the 8 bytes that can be read at least.
  if (!startsWith(stop, end_, "</key>") || end_ - at < 8) [[unlikely]]
    return readString(at, "</key>", Element::Key, key);
  key = tree_.makeKey({at, stop}, end_);
  return stop + 6;
}

const char* Reader::readUnusualEntry(const char* at) noexcept {
  Tag tag;
  Slot slot{nullptr, at};
  const char* behind = readTag(at, tag, expectedKey);
  if (behind == nullptr) return nullptr;
  if (tag.isEnd && tag.element == Element::Dictionary) return closeContainer(behind);
  if (tag.isEnd || tag.element != Element::Key) return source_.fail(at, expectedKey);
  if (tag.isEmpty) {
    slot.key = tree_.makeString({}, nullptr);
  } else {
    behind = readKey(behind, slot.key);
    if (behind == nullptr) return nullptr;
  }
  return readKeyedValue(behind, slot);
}

// Reads the next element of the innermost container, an array, or its end.
const char* Reader::readElement(const char* at) noexcept {
  at = skipToTag(at, expectedElement);
  if (at == nullptr) return nullptr;
  if (at[1] != '/') [[likely]]
    return readValue(at, {nullptr, at}, expectedElement);
  Tag tag;
  const char* behind = readTag(at, tag, expectedElement);
  if (behind == nullptr) return nullptr;
  return tag.element == Element::Array ? closeContainer(behind) : source_.fail(at, expectedElement);
}

// Reads the value whose tag is at `at`, or opens it if it is a container.
const char* Reader::readValue(const char* at, Slot slot, const char* expected) noexcept {
  if (startsWith(at, end_, "<string>")) {
    PlistString* string = nullptr;
    at = readString(at + 8, "</string>", Element::String, string);
    tree_.add(slot, string);
    return at;
  }
  if (startsWith(at, end_, "<integer>")) return readInteger(at + 9, slot);
  if (startsWith(at, end_, "<dict>")) return openContainer(at, at + 6, true, slot);
  if (startsWith(at, end_, "<array>")) return openContainer(at, at + 7, false, slot);
  if (startsWith(at, end_, "<true/>")) {
    tree_.add(slot, PlistBoolean::of(true));
    return at + 7;
  }
  if (startsWith(at, end_, "<false/>")) {
    tree_.add(slot, PlistBoolean::of(false));
    return at + 8;
  }
  return readUnusualValue(at, slot, expected);
}

const char* Reader::readUnusualValue(const char* at, Slot slot, const char* expected) noexcept {
  Tag tag;
  const char* behind = readTag(at, tag, expected);
  if (behind == nullptr) return nullptr;
  if (tag.isEnd || tag.element == Element::Key) return source_.fail(at, expected);
  if (tag.element == Element::Dictionary || tag.element == Element::Array) {
    const bool isDictionary = tag.element == Element::Dictionary;
    behind = openContainer(at, behind, isDictionary, slot);
    if (!tag.isEmpty || behind == nullptr) return behind;
    return closeContainer(behind);
  }
  return tag.isEmpty ? readEmptyElement(at, behind, tag.element, slot) : readTaggedValue(behind, tag.element, slot);
}

const char* Reader::readEmptyElement(const char* place, const char* at, Element element, Slot slot) noexcept {
  switch (element) {
    case Element::String:
      tree_.add(slot, tree_.makeString({}, nullptr));
      return at;
    case Element::Data: {
      std::uint8_t* bytes = nullptr;
      tree_.add(slot, tree_.block().makeData(0, bytes));
      return at;
    }
    case Element::True:
    case Element::False:
      tree_.add(slot, PlistBoolean::of(element == Element::True));
      return at;
    default:
      return source_.fail(place, "expected a number or a date, not an empty element");
  }
}

const char* Reader::readTaggedValue(const char* at, Element element, Slot slot) noexcept {
  switch (element) {
    case Element::True:
    case Element::False:
      tree_.add(slot, PlistBoolean::of(element == Element::True));
      return propertylist::skipEndTag(source_, at, element);
    case Element::Integer:
      return readIntegerSlowly(at, slot);
    case Element::Real:
      return readReal(at, slot);
    case Element::Date:
      return readDate(at, slot);
    case Element::Data:
      return readData(at, slot);
    default:
      break;
  }
  PlistString* string = nullptr;
  at = readString(at, "</string>", Element::String, string);
  tree_.add(slot, string);
  return at;
}

const char* Reader::openContainer(const char* place, const char* at, bool isDictionary, Slot slot) noexcept {
  if (tree_.open(isDictionary, slot)) [[likely]]
    return at;
  return source_.fail(place, "containers nested too deep");
}

const char* Reader::closeContainer(const char* at) noexcept {
  const char* duplicate = tree_.close();
  if (duplicate == nullptr) [[likely]]
    return at;
  return source_.fail(duplicate, "a key that the dictionary already has");
}

template <std::size_t Size>
const char* Reader::readString(const char* at, const char (&endTag)[Size], Element element,
                               PlistString*& string) noexcept {
  const char* stop = scan::findTextStop(at, end_);
  if (startsWith(stop, end_, endTag)) [[likely]] {
    string = tree_.makeString({at, stop}, end_);
    return stop + Size - 1;
  }
  Text text;
  at = propertylist::readText(source_, at, element, scratch_, text);
  if (at != nullptr) string = tree_.makeString(text.content, text.content.end());
  return at;
}

const char* Reader::readInteger(const char* at, Slot slot) noexcept {
  // Up to 18 digits cannot overflow.
  constexpr int digitsToSpare = 18;
  const bool isNegative = at != end_ && *at == '-';
  const char* digit = at + (isNegative ? 1 : 0);
  const char* first = digit;
  std::uint64_t magnitude = 0;
  while (digit != end_ && *digit >= '0' && *digit <= '9')
    magnitude = magnitude * 10 + static_cast<unsigned>(*digit++ - '0');
  const auto count = digit - first;
  if (count == 0 || count > digitsToSpare || !startsWith(digit, end_, "</integer>")) return readIntegerSlowly(at, slot);
  tree_.add(slot, tree_.block().makeNumber(static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude)));
  return digit + 10;
}

const char* Reader::readIntegerSlowly(const char* at, Slot slot) noexcept {
  Text text;
  const char* behind = propertylist::readText(source_, at, Element::Integer, scratch_, text);
  if (behind == nullptr) return nullptr;
  std::int64_t value = 0;
  if (const char* mistake = scalars::parseInteger(text.content, value); mistake != nullptr) {
    return failInText(at, mistake, text, "expected a decimal integer of at most 64 bits");
  }
  tree_.add(slot, tree_.block().makeNumber(value));
  return behind;
}

const char* Reader::readReal(const char* at, Slot slot) noexcept {
  Text text;
  const char* behind = propertylist::readText(source_, at, Element::Real, scratch_, text);
  if (behind == nullptr) return nullptr;
  double value = 0;
  if (const char* mistake = scalars::parseReal(text.content, value); mistake != nullptr) {
    return failInText(at, mistake, text, "expected a decimal number that a 64-bit float can hold");
  }
  tree_.add(slot, tree_.block().makeNumber(value));
  return behind;
}

const char* Reader::readDate(const char* at, Slot slot) noexcept {
  Text text;
  const char* behind = propertylist::readText(source_, at, Element::Date, scratch_, text);
  if (behind == nullptr) return nullptr;
  std::int64_t seconds = 0;
  if (const char* mistake = scalars::parseDate(text.content, seconds); mistake != nullptr) {
    return failInText(at, mistake, text, "expected a date that exists, as YYYY-MM-DDThh:mm:ssZ");
  }
  tree_.add(slot, tree_.block().makeDate(static_cast<double>(seconds)));
  return behind;
}

const char* Reader::readData(const char* at, Slot slot) noexcept {
  Text text;
  const char* behind = propertylist::readText(source_, at, Element::Data, scratch_, text);
  if (behind == nullptr) return nullptr;
  std::uint8_t* bytes = nullptr;
  PlistData* data = tree_.block().makeData(base64::decodedLength(text.content), bytes);
  if (const char* mistake = base64::decode(text.content, bytes); mistake != nullptr) {
    return failInText(at, mistake, text, "expected base64 digits in whole groups of four");
  }
  tree_.add(slot, data);
  return behind;
}

}  // namespace

Ref<PlistValue> createPropertyListFromXML(std::span<const std::uint8_t> bytes, PropertyListError* error) {
  // No bytes may have no place, but a null place is a mistake.
  Reader reader(bytes.empty() ? "" : reinterpret_cast<const char*>(bytes.data()), bytes.size());
  Ref<PlistValue> value = reader.read();
  if (!value && error != nullptr) *error = reader.mistake();
  return value;
}

}  // namespace vanto
