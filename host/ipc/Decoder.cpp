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
#include "ipc/WireReader.h"
#include "value/limits.h"

namespace vanto {
namespace {

/// One pass over bytes from elsewhere. Every step checks what it takes; the first thing wrong ends it all.
class Decoder {
 public:
  Decoder(std::span<const std::uint8_t> bytes, std::span<Fd> descriptors) noexcept
      : reader_(bytes), descriptors_(descriptors) {}

  /// The next object, which lies in `depth` containers; null when it is malformed.
  [[nodiscard]] Ref<vanto_object> next(std::size_t depth) noexcept;

  /// Whether everything was used.
  [[nodiscard]] bool isAtEnd() const noexcept { return reader_.isAtEnd() && used_ == descriptors_.size(); }

 private:
  [[nodiscard]] Fd takeDescriptor(std::uint32_t index) noexcept;

  [[nodiscard]] Ref<vanto_object> string(std::uint32_t length) noexcept;
  [[nodiscard]] Ref<vanto_object> data(std::uint32_t length) noexcept;
  [[nodiscard]] Ref<vanto_object> sealedData(std::uint32_t index) noexcept;
  [[nodiscard]] Ref<vanto_object> array(std::uint32_t count, std::size_t depth) noexcept;
  [[nodiscard]] Ref<vanto_object> dictionary(std::uint32_t count, std::size_t depth) noexcept;
  [[nodiscard]] Ref<vanto_object> error(std::uint32_t length) noexcept;

  WireReader reader_;
  const std::span<Fd> descriptors_;
  /// Descriptors that objects have taken; they are used in order.
  std::size_t used_ = 0;
};

Fd Decoder::takeDescriptor(std::uint32_t index) noexcept {
  if (index != used_ || used_ == descriptors_.size()) return Fd();
  return std::move(descriptors_[used_++]);
}

Ref<vanto_object> Decoder::string(std::uint32_t length) noexcept {
  const std::uint8_t* place = reader_.takePadded(length);
  if (place == nullptr) return nullptr;
  return StringObject::create({reinterpret_cast<const char*>(place), length});
}

Ref<vanto_object> Decoder::data(std::uint32_t length) noexcept {
  const std::uint8_t* place = reader_.takePadded(length);
  return place == nullptr ? nullptr : DataObject::create({place, length});
}

Ref<vanto_object> Decoder::sealedData(std::uint32_t index) noexcept {
  std::uint64_t length = 0;
  if (!reader_.takeNumber(0, length)) return nullptr;
  return SealedDataObject::create(takeDescriptor(index), length);
}

Ref<vanto_object> Decoder::array(std::uint32_t count, std::size_t depth) noexcept {
  // An element takes one word at least, its header.
  if (depth >= limits::ipcNesting || !reader_.claim(count)) return nullptr;
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
  if (depth >= limits::ipcNesting || !reader_.claim(std::size_t{2} * count)) return nullptr;
  Ref<DictionaryObject> dictionary = DictionaryObject::create(count);
  for (std::uint32_t index = 0; index < count; ++index) {
    std::string_view key;
    if (!reader_.takeKey(key) || !StringObject::accepts(key)) return nullptr;
    Ref<vanto_object> value = next(depth + 1);
    if (!value || !dictionary->append(key, std::move(value))) return nullptr;
  }
  return dictionary;
}

Ref<vanto_object> Decoder::error(std::uint32_t length) noexcept {
  std::uint32_t code = 0;
  std::string_view text;
  return reader_.takeText(length, code, text) ? ErrorObject::create(code, text) : nullptr;
}

Ref<vanto_object> Decoder::next(std::size_t depth) noexcept {
  std::uint32_t kind = 0;
  std::uint32_t detail = 0;
  if (!reader_.takeHeader(kind, detail)) return nullptr;
  std::uint64_t number = 0;
  switch (kind) {
    case VANTO_KIND_STRING:
      return string(detail);
    case VANTO_KIND_BOOL:
      return detail > 1 ? nullptr : BoolObject::create(detail == 1);
    case VANTO_KIND_INT64:
      return reader_.takeNumber(detail, number) ? Int64Object::create(static_cast<std::int64_t>(number)) : nullptr;
    case VANTO_KIND_DOUBLE:
      return reader_.takeNumber(detail, number) ? DoubleObject::create(std::bit_cast<double>(number)) : nullptr;
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
