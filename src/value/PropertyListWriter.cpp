// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PropertyList.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "value/GrowingBytes.h"
#include "value/ObjectBlock.h"
#include "value/PropertyListBase64.h"
#include "value/PropertyListCharacters.h"
#include "value/PropertyListProblems.h"
#include "value/PropertyListScalars.h"
#include "value/PropertyListScan.h"
#include "value/WorkStack.h"
#include "value/limits.h"

// The writer walks through the tree with two stacks, like the reader: `open_` has a record for each container that is
// being written, and `entries_` the entries of the open dictionaries that are still to be written, so that they can be
// brought into order. Steps give false for what XML cannot carry, and leave the reason in `problem_`.

namespace vanto {

namespace {

using Entry = PlistDictionary::Entry;

constexpr std::string_view prolog = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
constexpr std::string_view epilog = "</plist>\n";

struct OpenContainer {
  /// Null for a dictionary.
  const PlistArray* array;
  /// Of an array: index of the next element. Of a dictionary: index of the next entry on the stack of entries.
  std::size_t next;
  /// Of an array: number of elements. Of a dictionary: where its entries end on the stack.
  std::size_t end;
  /// Where the entries of a dictionary begin on the stack.
  std::size_t firstEntry;
};

class Writer {
 public:
  /// Writes the document; false when there is none.
  [[nodiscard]] bool write(const Object& value);
  [[nodiscard]] const char* problem() const noexcept { return problem_; }
  /// The document.
  [[nodiscard]] Ref<PlistData> takeData() noexcept;

 private:
  bool writeNext();
  bool writeValue(const Object* value);
  bool openDictionary(const PlistDictionary& dictionary);
  bool openArray(const PlistArray& array);
  bool isDeepest() noexcept;
  bool isTooLarge() noexcept;
  void close();
  void sortEntries(std::size_t first) noexcept;

  bool writeString(const PlistString& string);
  void writeNumber(const PlistNumber& number);
  void writeBoolean(const PlistBoolean& boolean);
  bool writeDate(const PlistDate& date);
  void writeData(const PlistData& data);
  bool writeEscaped(std::string_view text);
  bool writeSpecial(const char*& at, const char* end);
  /// Begins a line as deep as the open containers, with a tag.
  template <std::size_t Size>
  void beginLine(const char (&tag)[Size]) {
    // A copy of fixed length is cheaper than one that fits, for the usual depth.
    constexpr std::size_t usualDepth = 16;
    const std::size_t depth = open_.size();
    char* place = output_.reserve(depth + usualDepth + Size);
    std::memset(place, '\t', usualDepth);
    if (depth > usualDepth) std::memset(place, '\t', depth);
    std::memcpy(place + depth, tag, Size - 1);
    output_.advance(depth + Size - 1);
  }
  template <std::size_t Size>
  void append(const char (&tag)[Size]) {
    std::memcpy(output_.reserve(Size), tag, Size - 1);
    output_.advance(Size - 1);
  }

  bool fail(const char* problem) noexcept {
    problem_ = problem;
    return false;
  }

  GrowingBytes output_;
  WorkStack<OpenContainer, 16> open_;
  WorkStack<Entry, 64> entries_;
  const char* problem_ = nullptr;
};

bool Writer::write(const Object& value) {
  output_.advanceTo(output_.reserve(4096) + ObjectBlock::dataHeadroom);
  output_.append(prolog);
  bool done = writeValue(&value);
  // Indentation can make a document hundreds of times as long as what it holds, so this does not wait for the end.
  while (done && !open_.isEmpty()) done = writeNext() && !isTooLarge();
  if (!done) return false;
  output_.append(epilog);
  return !isTooLarge();
}

// True, with a problem noted, when no reader accepts a document of that length.
bool Writer::isTooLarge() noexcept {
  const std::size_t length = output_.size() - ObjectBlock::dataHeadroom;
  return length > limits::propertyListFileBytes && !fail(problems::tooLarge);
}

Ref<PlistData> Writer::takeData() noexcept {
  const std::size_t length = output_.size() - ObjectBlock::dataHeadroom;
  return Ref<PlistData>::adopt(&ObjectBlock::createData(output_.release(), length));
}

// Writes the next member of the innermost container, or its end.
bool Writer::writeNext() {
  OpenContainer& container = open_.top();
  if (container.next == container.end) {
    close();
    return true;
  }
  if (container.array != nullptr) return writeValue(container.array->at(container.next++));
  const Entry entry = entries_[container.next++];
  beginLine("<key>");
  if (!writeEscaped(entry.key->text())) return false;
  append("</key>\n");
  return writeValue(entry.value);
}

bool Writer::writeValue(const Object* value) {
  if (value == nullptr) return fail(problems::hole);
  switch (value->runtimeClass().typeID) {
    case StringKind:
      return writeString(*static_cast<const PlistString*>(value));
    case DictionaryKind:
      return openDictionary(*static_cast<const PlistDictionary*>(value));
    case ArrayKind:
      return openArray(*static_cast<const PlistArray*>(value));
    case NumberKind:
      writeNumber(*static_cast<const PlistNumber*>(value));
      return true;
    case BooleanKind:
      writeBoolean(*static_cast<const PlistBoolean*>(value));
      return true;
    case DataKind:
      writeData(*static_cast<const PlistData*>(value));
      return true;
    case DateKind:
      return writeDate(*static_cast<const PlistDate*>(value));
    default:
      return fail(problems::noValue);
  }
}

bool Writer::openDictionary(const PlistDictionary& dictionary) {
  if (isDeepest()) return false;
  const std::size_t first = entries_.size();
  PlistDictionary::Cursor cursor(dictionary);
  for (Entry entry; cursor.next(entry);) entries_.push(entry);
  if (entries_.size() == first) {
    beginLine("<dict/>\n");
    return true;
  }
  sortEntries(first);
  beginLine("<dict>\n");
  open_.push({nullptr, first, entries_.size(), first});
  return true;
}

bool Writer::openArray(const PlistArray& array) {
  if (isDeepest()) return false;
  if (array.count() == 0) {
    beginLine("<array/>\n");
    return true;
  }
  beginLine("<array>\n");
  open_.push({&array, 0, array.count(), entries_.size()});
  return true;
}

// True, with a problem noted, when no container may be opened here.
bool Writer::isDeepest() noexcept {
  return open_.size() == limits::propertyListNesting && !fail(problems::tooDeep);
}

void Writer::close() {
  const OpenContainer container = open_.top();
  open_.shrink(open_.size() - 1);
  entries_.shrink(container.firstEntry);
  if (container.array != nullptr) {
    beginLine("</array>\n");
  } else {
    beginLine("</dict>\n");
  }
}

void Writer::sortEntries(std::size_t first) noexcept {
  Entry* begin = &entries_[first];
  Entry* end = begin + (entries_.size() - first);
  const auto comesBefore = [](const Entry& left, const Entry& right) {
    return left.key->text() < right.key->text();
  };
  if (!std::is_sorted(begin, end, comesBefore)) std::sort(begin, end, comesBefore);
}

bool Writer::writeString(const PlistString& string) {
  beginLine("<string>");
  if (!writeEscaped(string.text())) return false;
  append("</string>\n");
  return true;
}

void Writer::writeNumber(const PlistNumber& number) {
  if (number.isReal()) {
    beginLine("<real>");
    output_.advanceTo(scalars::writeReal(number.doubleValue(), output_.reserve(scalars::longestScalar)));
    append("</real>\n");
  } else {
    beginLine("<integer>");
    output_.advanceTo(scalars::writeInteger(number.int64Value(), output_.reserve(scalars::longestScalar)));
    append("</integer>\n");
  }
}

void Writer::writeBoolean(const PlistBoolean& boolean) {
  if (boolean.value()) {
    beginLine("<true/>\n");
  } else {
    beginLine("<false/>\n");
  }
}

bool Writer::writeDate(const PlistDate& date) {
  const double seconds = date.secondsSince1970();
  const bool isInRange =
      seconds >= static_cast<double>(scalars::firstSecond) && seconds <= static_cast<double>(scalars::lastSecond);
  if (!isInRange) return fail("a date outside the years 1 to 9999 cannot be written");
  if (std::floor(seconds) != seconds) return fail("a date between two seconds cannot be written");
  beginLine("<date>");
  output_.advanceTo(scalars::writeDate(static_cast<std::int64_t>(seconds), output_.reserve(scalars::longestScalar)));
  append("</date>\n");
  return true;
}

void Writer::writeData(const PlistData& data) {
  beginLine("<data>");
  char* place = output_.reserve(base64::encodedLength(data.length()));
  output_.advanceTo(base64::encode(data.bytes().data(), data.length(), place));
  append("</data>\n");
}

bool Writer::writeEscaped(std::string_view text) {
  // Room for what copying may spill, too.
  constexpr std::size_t spill = 16;
  const char* at = text.data();
  const char* end = at + text.size();
  for (;;) {
    char* to = output_.reserve(static_cast<std::size_t>(end - at) + spill);
    scan::copyWritable(at, end, to);
    output_.advanceTo(to);
    if (at == end) return true;
    if (!writeSpecial(at, end)) return false;
  }
}

// Writes the character at `at`, which cannot just be copied, and moves behind it.
bool Writer::writeSpecial(const char*& at, const char* end) {
  const std::size_t length = characters::allowedLength(at, end);
  if (length == 0) return fail("a string with a character that XML does not allow cannot be written");
  std::string_view written(at, length);
  switch (*at) {
    case '&':
      written = "&amp;";
      break;
    case '<':
      written = "&lt;";
      break;
    case '>':
      written = "&gt;";
      break;
    case '\r':
      // Readers turn a plain one into a line feed.
      written = "&#13;";
      break;
    default:
      break;
  }
  output_.append(written);
  at += length;
  return true;
}

}  // namespace

Ref<PlistData> createPropertyListXML(const Object& value, PropertyListError* error) {
  Writer writer;
  if (writer.write(value)) return writer.takeData();
  if (error != nullptr) *error = PropertyListError{0, 0, writer.problem()};
  return nullptr;
}

}  // namespace vanto
