// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PropertyList.h>

#include <bit>

#include "value/GrowingBytes.h"
#include "value/LittleEndian.h"
#include "value/ObjectBlock.h"
#include "value/PropertyListBinary.h"
#include "value/PropertyListProblems.h"
#include "value/PropertyListSequence.h"
#include "value/ValueStorage.h"
#include "value/limits.h"

namespace vanto {

namespace {

using binary::Tag;

class Writer {
 public:
  explicit Writer(const PropertyListSequence& sequence) noexcept
      : sequence_(sequence), width_(binary::countWidth(sequence.bitsOfCounts())) {}

  void write() noexcept;
  /// Size of the document.
  [[nodiscard]] std::size_t size() const noexcept { return output_.size() - ObjectBlock::dataHeadroom; }
  /// The document.
  [[nodiscard]] Ref<PlistData> takeData() noexcept {
    const std::size_t length = size();
    return Ref<PlistData>::adopt(&ObjectBlock::createData(output_.release(), length));
  }

 private:
  void writeStrings() noexcept;
  void writeItem(const PropertyListSequence::Item& item) noexcept;
  void writeNumber(const PlistNumber& number) noexcept;
  void writeReal(const PlistNumber& number, std::size_t bytes) noexcept;

  [[nodiscard]] std::uint8_t* reserve(std::size_t count) noexcept {
    return reinterpret_cast<std::uint8_t*>(output_.reserve(count));
  }
  void writeByte(std::uint8_t byte) noexcept {
    *reserve(1) = byte;
    output_.advance(1);
  }
  void writeCount(std::size_t count) noexcept {
    store32(reserve(sizeof(std::uint32_t)), static_cast<std::uint32_t>(count));
    output_.advance(width_);
  }
  void writeTagged(Tag tag, std::size_t count) noexcept {
    writeByte(static_cast<std::uint8_t>(tag));
    writeCount(count);
  }
  /// Writes the lowest bytes of a word.
  void writeWord(std::uint64_t word, std::size_t bytes) noexcept {
    store64(reserve(sizeof word), word);
    output_.advance(bytes);
  }

  const PropertyListSequence& sequence_;
  /// Bytes of each count.
  const std::size_t width_;
  GrowingBytes output_;
};

void Writer::write() noexcept {
  output_.advanceTo(output_.reserve(1024) + ObjectBlock::dataHeadroom);
  output_.append({reinterpret_cast<const char*>(binary::magic), sizeof binary::magic});
  writeByte(binary::version);
  writeByte(static_cast<std::uint8_t>(width_));
  writeStrings();
  for (const PropertyListSequence::Item& item : sequence_.items()) writeItem(item);
}

void Writer::writeStrings() noexcept {
  const auto& texts = sequence_.strings().texts();
  writeCount(texts.size());
  for (const PlistString* text : texts) writeCount(text->length());
  for (const PlistString* text : texts) output_.append({text->utf8(), text->length() + 1});
}

void Writer::writeItem(const PropertyListSequence::Item& item) noexcept {
  switch (item.object->runtimeClass().typeID) {
    case StringKind:
      if (!item.isKey) writeByte(static_cast<std::uint8_t>(Tag::String));
      return writeCount(sequence_.strings().index(item.string));
    case DictionaryKind:
      return writeTagged(Tag::Dictionary, static_cast<const PlistDictionary*>(item.object)->count());
    case ArrayKind:
      return writeTagged(Tag::Array, static_cast<const PlistArray*>(item.object)->count());
    case BooleanKind:
      return writeByte(
          static_cast<std::uint8_t>(static_cast<const PlistBoolean*>(item.object)->value() ? Tag::True : Tag::False));
    case DateKind:
      writeByte(static_cast<std::uint8_t>(Tag::Date));
      return writeWord(std::bit_cast<std::uint64_t>(static_cast<const PlistDate*>(item.object)->secondsSince1970()), 8);
    case DataKind: {
      const std::span<const std::uint8_t> bytes = static_cast<const PlistData*>(item.object)->bytes();
      writeTagged(Tag::Data, bytes.size());
      return output_.append({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    default:
      return writeNumber(*static_cast<const PlistNumber*>(item.object));
  }
}

void Writer::writeNumber(const PlistNumber& number) noexcept {
  const KorNumberType subtype = number.subtype();
  const std::size_t realBytes = binary::numberForms[subtype - 1].realBytes;
  if (realBytes != 0) {
    writeByte(binary::numberTag(subtype, realBytes));
    return writeReal(number, realBytes);
  }
  const std::int64_t value = number.int64Value();
  const std::size_t bytes = binary::integerBytes(value);
  writeByte(binary::numberTag(subtype, bytes));
  writeWord(static_cast<std::uint64_t>(value), bytes);
}

void Writer::writeReal(const PlistNumber& number, std::size_t bytes) noexcept {
  const double value = number.doubleValue();
  const bool isFloat = bytes == sizeof(float);
  writeWord(isFloat ? std::bit_cast<std::uint32_t>(static_cast<float>(value)) : std::bit_cast<std::uint64_t>(value),
            bytes);
}

}  // namespace

Ref<PlistData> createPropertyListBinary(const Object& value, PropertyListError* error) {
  PropertyListSequence sequence;
  const char* problem = sequence.take(value);
  if (problem == nullptr) {
    Writer writer(sequence);
    writer.write();
    if (writer.size() <= limits::propertyListFileBytes) return writer.takeData();
    problem = problems::tooLarge;
  }
  if (error != nullptr) *error = PropertyListError{0, 0, problem};
  return nullptr;
}

}  // namespace vanto
