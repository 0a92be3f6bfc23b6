// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBinaryReader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "value/ObjectBlock.h"
#include "value/PropertyListBinary.h"
#include "value/PropertyListBinarySource.h"
#include "value/PropertyListBinaryStrings.h"
#include "value/WorkStack.h"
#include "value/limits.h"

// The reader walks once through the bytes. A container says how many members it has, so their places are made when it
// is opened, and each value goes straight to its place.
//
// No count is believed before there are bytes for it: the members that all open containers still promise must fit, each
// with its fewest bytes, into what remains. So the places made are never more than there are bytes, and everything made
// of a document takes at most 20 times its size, besides the last chunk of the block.

namespace vanto {

namespace {

using binary::Tag;
using Byte = PropertyListBinarySource::Byte;
using Entry = PlistDictionary::Entry;

// How much memory the values of a document are likely to take.
std::size_t expectedBlockSize(std::size_t documentSize) noexcept {
  return std::clamp<std::size_t>(documentSize * 4, 256, std::size_t{2} << 20);
}

// Of the bits of a 32-bit float: a NaN whose uppermost bit below the exponent is 0.
bool isSignalling(std::uint32_t bits) noexcept {
  return (bits & 0x7FC0'0000) == 0x7F80'0000 && (bits & 0x003F'FFFF) != 0;
}

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) noexcept
      : source_{bytes.data(), bytes.data() + bytes.size()},
        block_(ObjectBlock::create(expectedBlockSize(bytes.size()))) {}
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() { block_.release(); }

  /// The value of the document, or null.
  [[nodiscard]] Ref<PlistValue> read() noexcept;
  [[nodiscard]] PropertyListError mistake() const;

 private:
  /// A container whose members are being read.
  struct Container {
    /// The place of the next member: an element, or an entry.
    void* next;
    /// Members that are still to come.
    std::size_t left;
    /// Bytes that a member takes at least.
    std::size_t leastBytes;
    /// What the members still to come of the containers around need at least begins here.
    const Byte* end;
    /// The least index that the next key may have.
    std::uint32_t nextKey;
    bool isDictionary;
  };

  const Byte* readHeader(const Byte* at) noexcept;
  const Byte* readTree(const Byte* at) noexcept;
  const Byte* checkWhole(const Byte* at) noexcept;

  const Byte* readMember(const Byte* at) noexcept;
  const Byte* readKey(const Byte* at, PlistString*& key) noexcept;
  const Byte* readIndex(const Byte* at, std::uint32_t& index) noexcept;
  const Byte* readValue(const Byte* at, Object*& value) noexcept;
  const Byte* readNumber(const Byte* at, Object*& value) noexcept;
  [[nodiscard]] std::int64_t loadInteger(const Byte* at, std::size_t bytes) const noexcept;
  const Byte* readReal(const Byte* at, std::uint8_t tag, Object*& value) noexcept;
  const Byte* readString(const Byte* at, Object*& value) noexcept;
  const Byte* readData(const Byte* at, Object*& value) noexcept;
  const Byte* readDate(const Byte* at, Object*& value) noexcept;
  const Byte* openArray(const Byte* at, Object*& value) noexcept;
  const Byte* openDictionary(const Byte* at, Object*& value) noexcept;
  const Byte* readMemberCount(const Byte* at, std::size_t leastBytes, std::uint32_t& count, const Byte*& end) noexcept;
  void open(const Container& container) noexcept;

  PropertyListBinarySource source_;
  /// One reference to it is ours.
  ObjectBlock& block_;
  PropertyListBinaryStrings strings_;
  /// The innermost open container; at first one of which the root is the only member.
  Container current_{};
  /// Those around it.
  WorkStack<Container, 16> around_;
  Object* root_ = nullptr;
};

Ref<PlistValue> Reader::read() noexcept {
  const Byte* at = readHeader(source_.begin);
  if (at != nullptr) at = strings_.read(source_, at, block_);
  if (at != nullptr) at = readTree(at);
  if (at != nullptr) at = checkWhole(at);
  return at == nullptr ? nullptr : Ref<PlistValue>::share(as<PlistValue>(root_));
}

PropertyListError Reader::mistake() const {
  return {0, static_cast<std::size_t>(source_.mistake - source_.begin) + 1, source_.message};
}

const Byte* Reader::readHeader(const Byte* at) noexcept {
  const std::size_t known = std::min(source_.remaining(at), sizeof binary::magic);
  const Byte* different = std::mismatch(at, at + known, binary::magic).first;
  if (different != at + known) return source_.fail(different, "expected the beginning of a property list");
  if (source_.remaining(at) < binary::headerBytes) return source_.failAtEnd();
  at += sizeof binary::magic;
  if (*at != binary::version) return source_.fail(at, "expected version 1 of the binary form");
  ++at;
  if (*at < 1 || *at > 4) return source_.fail(at, "expected a width of counts from 1 to 4");
  source_.width = *at;
  const std::size_t size = source_.remaining(source_.begin);
  if (size > limits::propertyListFileBytes) {
    return source_.fail(source_.begin + limits::propertyListFileBytes, "expected at most 64 MiB");
  }
  return at + 1;
}

const Byte* Reader::readTree(const Byte* at) noexcept {
  current_ = {&root_, 1, 1, source_.end, 0, false};
  for (;;) {
    while (current_.left == 0) {
      if (around_.isEmpty()) return at;
      current_ = around_.top();
      around_.shrink(around_.size() - 1);
    }
    at = readMember(at);
    if (at == nullptr) return nullptr;
  }
}

// Checks what shows only when everything has been read.
const Byte* Reader::checkWhole(const Byte* at) noexcept {
  if (at != source_.end) return source_.fail(at, "expected nothing more behind the value");
  if (const Byte* text = strings_.unused(); text != nullptr) return source_.fail(text, "expected a text that is used");
  if (source_.width != binary::countWidth(source_.bitsOfCounts)) {
    return source_.fail(source_.begin + sizeof binary::magic + 1, "expected the smallest width that suffices");
  }
  return at;
}

// Reads the next member of the current container.
const Byte* Reader::readMember(const Byte* at) noexcept {
  --current_.left;
  if (!current_.isDictionary) {
    auto* element = static_cast<Object**>(current_.next);
    current_.next = element + 1;
    return readValue(at, *element);
  }
  auto* entry = static_cast<Entry*>(current_.next);
  current_.next = entry + 1;
  at = readKey(at, entry->key);
  return at == nullptr ? nullptr : readValue(at, entry->value);
}

const Byte* Reader::readKey(const Byte* at, PlistString*& key) noexcept {
  std::uint32_t index = 0;
  const Byte* behind = readIndex(at, index);
  if (behind == nullptr) return nullptr;
  if (index < current_.nextKey) return source_.fail(at, "expected a key behind the one before");
  current_.nextKey = index + 1;
  key = strings_.use(index);
  return behind;
}

const Byte* Reader::readIndex(const Byte* at, std::uint32_t& index) noexcept {
  const Byte* behind = source_.readCount(at, index);
  if (behind == nullptr || index < strings_.count()) return behind;
  return source_.fail(at, "expected the index of a string");
}

const Byte* Reader::readValue(const Byte* at, Object*& value) noexcept {
  if (at == source_.end) return source_.failAtEnd();
  switch (static_cast<Tag>(*at)) {
    case Tag::False:
    case Tag::True:
      value = PlistBoolean::of(*at == static_cast<Byte>(Tag::True));
      return at + 1;
    case Tag::String:
      return readString(at, value);
    case Tag::Data:
      return readData(at, value);
    case Tag::Date:
      return readDate(at, value);
    case Tag::Array:
      return openArray(at, value);
    case Tag::Dictionary:
      return openDictionary(at, value);
    default:
      return readNumber(at, value);
  }
}

const Byte* Reader::readNumber(const Byte* at, Object*& value) noexcept {
  const std::uint8_t tag = *at;
  const std::size_t bytes = binary::bytesOfTag(tag);
  const KorNumberType subtype = binary::subtypeOfTag(tag);
  const binary::NumberForm& form = binary::numberForms[subtype - 1];
  if (bytes == 0 || bytes > 8 || (form.realBytes != 0 && bytes != form.realBytes)) {
    return source_.fail(at, "expected a value");
  }
  if (source_.remaining(at + 1) < bytes) return source_.failAtEnd();
  if (form.realBytes != 0) return readReal(at + 1, tag, value);
  const std::int64_t integer = loadInteger(at + 1, bytes);
  if (binary::integerBytes(integer) != bytes) return source_.fail(at, "expected an integer in fewer bytes");
  if (integer < form.lowest || integer > form.highest) {
    return source_.fail(at, "expected an integer that its subtype holds");
  }
  value = block_.makeNumber(integer, subtype);
  return at + 1 + bytes;
}

// The integer in the `bytes` bytes at `at`.
std::int64_t Reader::loadInteger(const Byte* at, std::size_t bytes) const noexcept {
  const std::size_t unused = 64 - 8 * bytes;
  std::uint64_t bits = 0;
  if (source_.remaining(at) >= sizeof bits) [[likely]] {
    bits = load64(at) << unused;
  } else {
    for (std::size_t index = 0; index < bytes; ++index) bits |= std::uint64_t{at[index]} << (unused + 8 * index);
  }
  // Shifting to the right spreads the sign.
  return static_cast<std::int64_t>(bits) >> unused;
}

const Byte* Reader::readReal(const Byte* at, std::uint8_t tag, Object*& value) noexcept {
  const KorNumberType subtype = binary::subtypeOfTag(tag);
  if (binary::bytesOfTag(tag) == 8) {
    value = block_.makeNumber(std::bit_cast<double>(load64(at)), subtype);
    return at + 8;
  }
  const std::uint32_t bits = load32(at);
  // No number holds one: it becomes a quiet one when it is widened.
  if (isSignalling(bits)) return source_.fail(at - 1, "expected no signalling NaN");
  value = block_.makeNumber(double{std::bit_cast<float>(bits)}, subtype);
  return at + 4;
}

const Byte* Reader::readString(const Byte* at, Object*& value) noexcept {
  std::uint32_t index = 0;
  at = readIndex(at + 1, index);
  if (at != nullptr) value = strings_.use(index);
  return at;
}

const Byte* Reader::readData(const Byte* at, Object*& value) noexcept {
  std::uint32_t length = 0;
  const Byte* bytes = source_.readCount(at + 1, length);
  if (bytes == nullptr) return nullptr;
  if (length > source_.remaining(bytes)) return source_.fail(at + 1, "expected data that ends within the bytes");
  std::uint8_t* copy = nullptr;
  value = block_.makeData(length, copy);
  std::copy_n(bytes, length, copy);
  return bytes + length;
}

const Byte* Reader::readDate(const Byte* at, Object*& value) noexcept {
  constexpr std::size_t bytes = sizeof(double);
  if (source_.remaining(at + 1) < bytes) return source_.failAtEnd();
  value = block_.makeDate(std::bit_cast<double>(load64(at + 1)));
  return at + 1 + bytes;
}

const Byte* Reader::openArray(const Byte* at, Object*& value) noexcept {
  constexpr std::size_t leastBytes = 1;
  std::uint32_t count = 0;
  const Byte* end = nullptr;
  at = readMemberCount(at, leastBytes, count, end);
  if (at == nullptr) return nullptr;
  auto* elements = static_cast<Object**>(block_.allocate(count * sizeof(Object*)));
  value = block_.makeArray(elements, count);
  open({elements, count, leastBytes, end, 0, false});
  return at;
}

const Byte* Reader::openDictionary(const Byte* at, Object*& value) noexcept {
  const std::size_t leastBytes = source_.width + 1;
  std::uint32_t count = 0;
  const Byte* end = nullptr;
  at = readMemberCount(at, leastBytes, count, end);
  if (at == nullptr) return nullptr;
  auto* entries = static_cast<Entry*>(block_.allocate(count * sizeof(Entry)));
  value = block_.makeDictionary(entries, count);
  open({entries, count, leastBytes, end, 0, true});
  return at;
}

// Reads how many members the container whose tag is at `at` has, and finds where they must end at the latest.
const Byte* Reader::readMemberCount(const Byte* at, std::size_t leastBytes, std::uint32_t& count,
                                    const Byte*& end) noexcept {
  if (around_.size() == limits::propertyListNesting) return source_.fail(at, "containers nested too deep");
  const Byte* behind = source_.readCount(at + 1, count);
  if (behind == nullptr) return nullptr;
  end = current_.end - current_.left * current_.leastBytes;
  if (behind > end || count > static_cast<std::size_t>(end - behind) / leastBytes) {
    return source_.fail(at + 1, "expected no more members than there are bytes for");
  }
  return behind;
}

// Goes on with the members of `container`.
void Reader::open(const Container& container) noexcept {
  around_.push(current_);
  current_ = container;
}

}  // namespace

Ref<PlistValue> createPropertyListFromBinary(std::span<const std::uint8_t> bytes, PropertyListError* error) {
  Reader reader(bytes);
  Ref<PlistValue> value = reader.read();
  if (!value && error != nullptr) *error = reader.mistake();
  return value;
}

}  // namespace vanto
