// SPDX-License-Identifier: Apache-2.0
#include <cstring>
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

/// One walk over an object, which stops at the first limit that it meets; so objects shared many times over cost no
/// more than the largest message does.
class Encoder {
 public:
  Encoder(ByteBuffer& bytes, std::vector<int>& descriptors) noexcept : bytes_(bytes), descriptors_(descriptors) {}

  /// Appends `object`, which lies in `depth` containers. False beyond a limit.
  [[nodiscard]] bool add(const vanto_object& object, std::size_t depth);

 private:
  [[nodiscard]] std::uint8_t* room(std::size_t size) noexcept {
    return bytes_.append(size, EncodedObject::prefixBytes + limits::ipcMessageBytes);
  }
  [[nodiscard]] bool addHeader(std::uint32_t kind, std::uint32_t detail) noexcept;
  [[nodiscard]] bool addNumber(std::uint32_t kind, std::uint64_t number) noexcept;
  [[nodiscard]] bool addContents(std::uint32_t kind, const void* contents, std::size_t length) noexcept;
  [[nodiscard]] bool addText(std::uint32_t word, std::string_view text) noexcept;
  [[nodiscard]] bool addData(const DataObject& data);
  [[nodiscard]] bool addArray(const ArrayObject& array, std::size_t depth);
  [[nodiscard]] bool addDictionary(const DictionaryObject& dictionary, std::size_t depth);
  [[nodiscard]] bool addDescriptor(std::uint32_t kind, int descriptor);
  [[nodiscard]] bool addError(const ErrorObject& error) noexcept;

  ByteBuffer& bytes_;
  std::vector<int>& descriptors_;
};

bool Encoder::addHeader(std::uint32_t kind, std::uint32_t detail) noexcept {
  std::uint8_t* place = room(8);
  if (place == nullptr) return false;
  store32(place, kind);
  store32(place + 4, detail);
  return true;
}

bool Encoder::addNumber(std::uint32_t kind, std::uint64_t number) noexcept {
  std::uint8_t* place = room(16);
  if (place == nullptr) return false;
  store64(place, kind);
  store64(place + 8, number);
  return true;
}

bool Encoder::addContents(std::uint32_t kind, const void* contents, std::size_t length) noexcept {
  if (length > limits::ipcMessageBytes) return false;
  const std::size_t padded = wirePadded(length);
  std::uint8_t* place = room(8 + padded);
  if (place == nullptr) return false;
  // The last word first, so that what the contents leave of it is zero.
  store64(place + padded, 0);
  store32(place, kind);
  store32(place + 4, static_cast<std::uint32_t>(length));
  if (length != 0) std::memcpy(place + 8, contents, length);
  return true;
}

/// A word of four bytes and text behind it.
bool Encoder::addText(std::uint32_t word, std::string_view text) noexcept {
  if (text.size() > limits::ipcMessageBytes) return false;
  const std::size_t padded = wirePadded(4 + text.size());
  std::uint8_t* place = room(padded);
  if (place == nullptr) return false;
  store64(place + padded - 8, 0);
  store32(place, word);
  if (!text.empty()) std::memcpy(place + 4, text.data(), text.size());
  return true;
}

bool Encoder::addData(const DataObject& data) {
  const SealedDataObject* sealed = SealedDataObject::from(data);
  if (sealed == nullptr) return addContents(VANTO_KIND_DATA, data.bytes(), data.length());
  if (!addDescriptor(wireSealedData, sealed->descriptor())) return false;
  std::uint8_t* place = room(8);
  if (place == nullptr) return false;
  store64(place, data.length());
  return true;
}

bool Encoder::addArray(const ArrayObject& array, std::size_t depth) {
  if (depth >= limits::ipcNesting || !addHeader(VANTO_KIND_ARRAY, static_cast<std::uint32_t>(array.count()))) {
    return false;
  }
  for (const vanto_object* element : array.elements()) {
    if (!add(*element, depth + 1)) return false;
  }
  return true;
}

bool Encoder::addDictionary(const DictionaryObject& dictionary, std::size_t depth) {
  if (depth >= limits::ipcNesting ||
      !addHeader(VANTO_KIND_DICTIONARY, static_cast<std::uint32_t>(dictionary.count()))) {
    return false;
  }
  DictionaryObject::Cursor cursor(dictionary);
  while (const DictionaryObject::Entry* entry = cursor.next()) {
    const std::string_view key = entry->key.text();
    if (!addText(static_cast<std::uint32_t>(key.size()), key) || !add(*entry->value, depth + 1)) return false;
  }
  return true;
}

bool Encoder::addDescriptor(std::uint32_t kind, int descriptor) {
  if (descriptors_.size() == limits::ipcDescriptors) return false;
  descriptors_.push_back(descriptor);
  return addHeader(kind, static_cast<std::uint32_t>(descriptors_.size() - 1));
}

bool Encoder::addError(const ErrorObject& error) noexcept {
  return error.text().size() <= limits::ipcMessageBytes &&
         addHeader(VANTO_KIND_ERROR, static_cast<std::uint32_t>(error.text().size())) &&
         addText(static_cast<std::uint32_t>(error.code()), error.text());
}

bool Encoder::add(const vanto_object& object, std::size_t depth) {
  switch (object.kind()) {
    case VANTO_KIND_STRING: {
      const std::string_view text = static_cast<const StringObject&>(object).text();
      return addContents(VANTO_KIND_STRING, text.data(), text.size());
    }
    case VANTO_KIND_BOOL:
      return addHeader(VANTO_KIND_BOOL, static_cast<const BoolObject&>(object).value() ? 1 : 0);
    case VANTO_KIND_INT64:
      return addNumber(VANTO_KIND_INT64, static_cast<std::uint64_t>(static_cast<const Int64Object&>(object).value()));
    case VANTO_KIND_DOUBLE:
      return addNumber(VANTO_KIND_DOUBLE,
                       std::bit_cast<std::uint64_t>(static_cast<const DoubleObject&>(object).value()));
    case VANTO_KIND_DATA:
      return addData(static_cast<const DataObject&>(object));
    case VANTO_KIND_ARRAY:
      return addArray(static_cast<const ArrayObject&>(object), depth);
    case VANTO_KIND_DICTIONARY:
      return addDictionary(static_cast<const DictionaryObject&>(object), depth);
    case VANTO_KIND_FD:
      return addDescriptor(VANTO_KIND_FD, static_cast<const FdObject&>(object).descriptor());
    case VANTO_KIND_ERROR:
      return addError(static_cast<const ErrorObject&>(object));
    default:
      // Containers hold values only, and encode() tests the outermost object.
      return false;
  }
}

}  // namespace

vanto_error_code_t EncodedObject::encode(vanto_object_t object) {
  clear();
  if (object == nullptr || !object->isValue()) return VANTO_ERROR_INVALID;
  static_cast<void>(bytes_.append(prefixBytes, prefixBytes));
  if (!Encoder(bytes_, descriptors_).add(*object, 0)) {
    clear();
    return VANTO_ERROR_TOO_LARGE;
  }
  if (!descriptors_.empty()) object_ = Ref<vanto_object>::share(object);
  return VANTO_ERROR_NONE;
}

void EncodedObject::clear() noexcept {
  bytes_.clear();
  descriptors_.clear();
  object_ = nullptr;
}

}  // namespace vanto
