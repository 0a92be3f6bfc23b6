// SPDX-License-Identifier: Apache-2.0
#include "vanto/IpcConversion.h"

#include <cstdlib>
#include <memory>
#include <span>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

namespace vanto::tool {
namespace {

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

bool setEntry(const char* key, vanto_object_t value, void* context) {
  const Ref<PlistValue> converted = createFromIpc(value);
  static_cast<PlistMutableDictionary*>(context)->setValueForKey(converted.get(), PlistString::create(key).get());
  return true;
}

Ref<PlistValue> createDictionary(vanto_object_t object) {
  Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  static_cast<void>(vanto_dictionary_apply(object, setEntry, dictionary.get()));
  return dictionary;
}

Ref<PlistValue> createArray(vanto_object_t object) {
  Ref<PlistMutableArray> array = PlistMutableArray::create();
  for (std::size_t index = 0; index < vanto_array_get_count(object); ++index) {
    array->append(createFromIpc(vanto_array_get_value(object, index)).get());
  }
  return array;
}

Ref<PlistValue> createData(vanto_object_t object) {
  const auto* bytes = static_cast<const std::uint8_t*>(vanto_data_get_bytes_ptr(object));
  return PlistData::create({bytes, bytes == nullptr ? 0 : vanto_data_get_length(object)});
}

Ref<PlistValue> createDescription(vanto_object_t object) {
  const std::unique_ptr<char, Free> text(vanto_copy_description(object));
  return PlistString::create(text ? text.get() : "");
}

}  // namespace

Ref<PlistValue> createFromIpc(vanto_object_t object) {
  switch (vanto_kind(object)) {
    case VANTO_KIND_NONE:
      return nullptr;
    case VANTO_KIND_DICTIONARY:
      return createDictionary(object);
    case VANTO_KIND_ARRAY:
      return createArray(object);
    case VANTO_KIND_STRING:
      return PlistString::create({vanto_string_get_text(object), vanto_string_get_length(object)});
    case VANTO_KIND_BOOL:
      return Ref<PlistBoolean>::share(PlistBoolean::of(vanto_bool_get_value(object)));
    case VANTO_KIND_INT64:
      return PlistNumber::create(vanto_int64_get_value(object));
    case VANTO_KIND_DOUBLE:
      return PlistNumber::create(vanto_double_get_value(object));
    case VANTO_KIND_DATA:
      return createData(object);
    default:
      return createDescription(object);
  }
}

}  // namespace vanto::tool
