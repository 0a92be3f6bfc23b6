// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <string_view>

#include "ipc/ArrayObject.h"
#include "ipc/Codec.h"
#include "ipc/DataObject.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/FdObject.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"
#include "ipc/WireBytes.h"
#include "value/limits.h"

namespace vanto {
namespace {

/// One pass over bytes from elsewhere. Every step checks what it takes; the first thing wrong ends it all.
class Decoder {
 public:
  Decoder(std::span<const std::uint8_t> bytes, std::span<Fd> descriptors) noexcept
      : cursor_(bytes.data()),
        end_(bytes.data() + bytes.size()),
        descriptors_(descriptors),
        units_(bytes.size() / wireAlignment) {}

  /// The next object, which lies in `depth` containers; null when it is malformed.
  [[nodiscard]] Ref<vanto_object> next(std::size_t depth) noexcept;

  /// Whether everything was used.
  [[nodiscard]] bool isAtEnd() const noexcept { return cursor_ == end_ && used_ == descriptors_.size(); }

 private:
  [[nodiscard]] std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - cursor_); }
  [[nodiscard]] const std::uint8_t* take(std::size_t size) noexcept;
  [[nodiscard]] const std::uint8_t* takePadded(std::size_t size) noexcept;
  [[nodiscard]] bool takeNumber(std::uint32_t detail, std::uint64_t& number) noexcept;
  [[nodiscard]] bool takeText(std::size_t length, std::uint32_t& word, std::string_view& text) noexcept;
  [[nodiscard]] bool claim(std::size_t units) noexcept;
  [[nodiscard]] Fd takeDescriptor(std::uint32_t index) noexcept;

  [[nodiscard]] Ref<vanto_object> string(std::uint32_t length) noexcept;
  [[nodiscard]] Ref<vanto_object> data(std::uint32_t length) noexcept;
  [[nodiscard]] Ref<vanto_object> sealedData(std::uint32_t index) noexcept;
  [[nodiscard]] Ref<vanto_object> array(std::uint32_t count, std::size_t depth) noexcept;
  [[nodiscard]] Ref<vanto_object> dictionary(std::uint32_t count, std::size_t depth) noexcept;
  [[nodiscard]] Ref<vanto_object> error(std::uint32_t length) noexcept;

  const std::uint8_t* cursor_;
  const std::uint8_t* const end_;
  const std::span<Fd> descriptors_;
  /// Descriptors that objects have taken; they are used in order.
  std::size_t used_ = 0;
  /// Words of eight bytes that no container has yet claimed for its elements. A container makes room for what it
  /// claims, so without this bound nested ones could claim the same bytes again and again.
  std::size_t units_;
};

const std::uint8_t* Decoder::take(std::size_t size) noexcept {
  if (size > remaining()) return nullptr;
  const std::uint8_t* place = cursor_;
  cursor_ += size;
  return place;
}

/// `size` bytes and the zeros behind them.
const std::uint8_t* Decoder::takePadded(std::size_t size) noexcept {
  const std::size_t padded = wirePadded(size);
  const std::uint8_t* place = take(padded);
  if (place == nullptr || size == padded) return place;
  const std::size_t usedBits = size % wireAlignment * 8;
  return load64(place + padded - wireAlignment) >> usedBits == 0 ? place : nullptr;
}

bool Decoder::takeNumber(std::uint32_t detail, std::uint64_t& number) noexcept {
  const std::uint8_t* place = take(8);
  if (place == nullptr || detail != 0) return false;
  number = load64(place);
  return true;
}

bool Decoder::takeText(std::size_t length, std::uint32_t& word, std::string_view& text) noexcept {
  const std::uint8_t* place = takePadded(4 + length);
  if (place == nullptr) return false;
  word = load32(place);
  text = {reinterpret_cast<const char*>(place + 4), length};
  return true;
}

bool Decoder::claim(std::size_t units) noexcept {
  if (units > units_) return false;
  units_ -= units;
  return true;
}

Fd Decoder::takeDescriptor(std::uint32_t index) noexcept {
  if (index != used_ || used_ == descriptors_.size()) return Fd();
  return std::move(descriptors_[used_++]);
}

Ref<vanto_object> Decoder::string(std::uint32_t length) noexcept {
  const std::uint8_t* place = takePadded(length);
  if (place == nullptr) return nullptr;
  return StringObject::create({reinterpret_cast<const char*>(place), length});
}

Ref<vanto_object> Decoder::data(std::uint32_t length) noexcept {
  const std::uint8_t* place = takePadded(length);
  return place == nullptr ? nullptr : DataObject::create({place, length});
}

Ref<vanto_object> Decoder::sealedData(std::uint32_t index) noexcept {
  std::uint64_t length = 0;
  if (!takeNumber(0, length)) return nullptr;
  return SealedDataObject::create(takeDescriptor(index), length);
}

Ref<vanto_object> Decoder::array(std::uint32_t count, std::size_t depth) noexcept {
  // An element takes one word at least, its header.
  if (depth >= limits::ipcNesting || !claim(count)) return nullptr;
  Ref<ArrayObject> array = ArrayObject::create(count);
  for (std::uint32_t index = 0; index < count; ++index) {
    Ref<vanto_object> element = next(depth + 1);
    if (!element) return nullptr;
    array->append(std::move(element));
  }
  return array;
}

Ref<vanto_object> Decoder::dictionary(std::uint32_t count, std::size_t depth) noexcept {
  // An entry takes two words at least: the shortest key, and the header of the value.
  if (depth >= limits::ipcNesting || !claim(std::size_t{2} * count)) return nullptr;
  Ref<DictionaryObject> dictionary = DictionaryObject::create(count);
  for (std::uint32_t index = 0; index < count; ++index) {
    if (remaining() < wireAlignment) return nullptr;
    std::uint32_t length = load32(cursor_);
    std::string_view key;
    if (!takeText(length, length, key) || !StringObject::accepts(key)) return nullptr;
    Ref<vanto_object> value = next(depth + 1);
    if (!value || !dictionary->append(key, std::move(value))) return nullptr;
  }
  return dictionary;
}

Ref<vanto_object> Decoder::error(std::uint32_t length) noexcept {
  std::uint32_t code = 0;
  std::string_view text;
  return takeText(length, code, text) ? ErrorObject::create(code, text) : nullptr;
}

Ref<vanto_object> Decoder::next(std::size_t depth) noexcept {
  const std::uint8_t* header = take(8);
  if (header == nullptr) return nullptr;
  const std::uint32_t kind = load32(header);
  const std::uint32_t detail = load32(header + 4);
  std::uint64_t number = 0;
  switch (kind) {
    case VANTO_KIND_STRING:
      return string(detail);
    case VANTO_KIND_BOOL:
      return detail > 1 ? nullptr : BoolObject::create(detail == 1);
    case VANTO_KIND_INT64:
      return takeNumber(detail, number) ? Int64Object::create(static_cast<std::int64_t>(number)) : nullptr;
    case VANTO_KIND_DOUBLE:
      return takeNumber(detail, number) ? DoubleObject::create(std::bit_cast<double>(number)) : nullptr;
    case VANTO_KIND_DATA:
      return data(detail);
    case VANTO_KIND_ARRAY:
      return array(detail, depth);
    case VANTO_KIND_DICTIONARY:
      return dictionary(detail, depth);
    case VANTO_KIND_FD:
      return FdObject::create(takeDescriptor(detail));
    case VANTO_KIND_ERROR:
      return error(detail);
    case wireSealedData:
      return sealedData(detail);
    default:
      return nullptr;
  }
}

}  // namespace

Ref<vanto_object> decodeObject(std::span<const std::uint8_t> bytes, std::span<Fd> descriptors) {
  if (bytes.size() > limits::ipcMessageBytes || bytes.size() % wireAlignment != 0) return nullptr;
  if (descriptors.size() > limits::ipcDescriptors) return nullptr;
  Decoder decoder(bytes, descriptors);
  Ref<vanto_object> object = decoder.next(0);
  return object && decoder.isAtEnd() ? object : nullptr;
}

}  // namespace vanto
