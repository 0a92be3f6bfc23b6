// SPDX-License-Identifier: Apache-2.0
#include <string_view>

#include "ipc/ArrayObject.h"
#include "ipc/Codec.h"
#include "ipc/DataObject.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/FdObject.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"
#include "ipc/WireWriter.h"
#include "value/limits.h"

namespace vanto {
namespace {

/// One walk over an object, which stops at the first limit that it meets; so objects shared many times over cost no
/// more than the largest message does.
class Encoder {
 public:
  Encoder(ByteBuffer& bytes, std::vector<int>& descriptors) noexcept
      : writer_(bytes, EncodedObject::prefixBytes + limits::ipcMessageBytes), descriptors_(descriptors) {}

  /// Appends `object`, which lies in `depth` containers. False beyond a limit.
  [[nodiscard]] bool add(const vanto_object& object, std::size_t depth);

 private:
  [[nodiscard]] bool addData(const DataObject& data);
  [[nodiscard]] bool addArray(const ArrayObject& array, std::size_t depth);
  [[nodiscard]] bool addDictionary(const DictionaryObject& dictionary, std::size_t depth);
  [[nodiscard]] bool addDescriptor(std::uint32_t kind, int descriptor);
  [[nodiscard]] bool addError(const ErrorObject& error) noexcept;

  WireWriter writer_;
  std::vector<int>& descriptors_;
};

bool Encoder::addData(const DataObject& data) {
  const SealedDataObject* sealed = SealedDataObject::from(data);
  if (sealed == nullptr) return writer_.addContents(VANTO_KIND_DATA, data.bytes(), data.length());
  if (!addDescriptor(wireSealedData, sealed->descriptor())) return false;
  return writer_.addWord(data.length());
}

bool Encoder::addArray(const ArrayObject& array, std::size_t depth) {
  if (depth >= limits::ipcNesting || !writer_.addHeader(VANTO_KIND_ARRAY, static_cast<std::uint32_t>(array.count()))) {
    return false;
  }
  for (const vanto_object* element : array.elements()) {
    if (!add(*element, depth + 1)) return false;
  }
  return true;
}

bool Encoder::addDictionary(const DictionaryObject& dictionary, std::size_t depth) {
  if (depth >= limits::ipcNesting ||
      !writer_.addHeader(VANTO_KIND_DICTIONARY, static_cast<std::uint32_t>(dictionary.count()))) {
    return false;
  }
  DictionaryObject::Cursor cursor(dictionary);
  while (const DictionaryObject::Entry* entry = cursor.next()) {
    const std::string_view key = entry->key.text();
    if (!writer_.addText(static_cast<std::uint32_t>(key.size()), key) || !add(*entry->value, depth + 1)) return false;
  }
  return true;
}

bool Encoder::addDescriptor(std::uint32_t kind, int descriptor) {
  if (descriptors_.size() == limits::ipcDescriptors) return false;
  descriptors_.push_back(descriptor);
  return writer_.addHeader(kind, static_cast<std::uint32_t>(descriptors_.size() - 1));
}

bool Encoder::addError(const ErrorObject& error) noexcept {
  return error.text().size() <= limits::ipcMessageBytes &&
         writer_.addHeader(VANTO_KIND_ERROR, static_cast<std::uint32_t>(error.text().size())) &&
         writer_.addText(static_cast<std::uint32_t>(error.code()), error.text());
}

bool Encoder::add(const vanto_object& object, std::size_t depth) {
  switch (object.kind()) {
    case VANTO_KIND_STRING: {
      const std::string_view text = static_cast<const StringObject&>(object).text();
      return writer_.addContents(VANTO_KIND_STRING, text.data(), text.size());
    }
    case VANTO_KIND_BOOL:
      return writer_.addHeader(VANTO_KIND_BOOL, static_cast<const BoolObject&>(object).value() ? 1 : 0);
    case VANTO_KIND_INT64:
      return writer_.addNumber(VANTO_KIND_INT64,
                               static_cast<std::uint64_t>(static_cast<const Int64Object&>(object).value()));
    case VANTO_KIND_DOUBLE:
      return writer_.addNumber(VANTO_KIND_DOUBLE,
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
