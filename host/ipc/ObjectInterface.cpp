// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "ipc/ArrayObject.h"
#include "ipc/DataObject.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/FdObject.h"
#include "ipc/IPCObject.h"
#include "ipc/ObjectDescription.h"
#include "ipc/ObjectEquality.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"
#include "value/Memory.h"

// The C interface of objects, all but their references. What callers pass is tested here; behind this file it is known
// to be right.

namespace {

using vanto::ofKind;
using vanto::Ref;

/// Gives the caller of a function the reference that its name promises.
vanto_object_t handOver(Ref<vanto_object> object) noexcept {
  return object.leak();
}

/// Whether `value` may become a child of `container`.
bool canHold(vanto_object_t container, vanto_object_t value) noexcept {
  return value != nullptr && value != container && value->isValue();
}

void setValue(vanto::DictionaryObject& dictionary, const char* key, vanto_object_t value) noexcept {
  if (key == nullptr || !canHold(&dictionary, value)) return;
  const std::string_view text(key);
  if (vanto::StringObject::accepts(text)) dictionary.set(text, Ref<vanto_object>::share(value));
}

}  // namespace

vanto_kind_t vanto_kind(vanto_object_t object) {
  return object == nullptr ? VANTO_KIND_NONE : object->kind();
}

bool vanto_equal(vanto_object_t one, vanto_object_t other) {
  return vanto::areEqual(one, other);
}

char* vanto_copy_description(vanto_object_t object) {
  const std::string text = vanto::describe(object);
  auto* copy = static_cast<char*>(vanto::Memory::allocate(text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

vanto_object_t vanto_string_create(const char* text) {
  return text == nullptr ? nullptr : handOver(vanto::StringObject::create(text));
}

vanto_object_t vanto_string_create_with_length(const char* text, size_t length) {
  return text == nullptr ? nullptr : handOver(vanto::StringObject::create({text, length}));
}

const char* vanto_string_get_text(vanto_object_t string) {
  const auto* object = ofKind<vanto::StringObject>(string);
  return object == nullptr ? nullptr : object->terminatedText();
}

size_t vanto_string_get_length(vanto_object_t string) {
  const auto* object = ofKind<vanto::StringObject>(string);
  return object == nullptr ? 0 : object->text().size();
}

vanto_object_t vanto_bool_create(bool value) {
  return handOver(vanto::BoolObject::create(value));
}

bool vanto_bool_get_value(vanto_object_t object) {
  const auto* truth = ofKind<vanto::BoolObject>(object);
  return truth != nullptr && truth->value();
}

vanto_object_t vanto_int64_create(int64_t value) {
  return handOver(vanto::Int64Object::create(value));
}

int64_t vanto_int64_get_value(vanto_object_t object) {
  const auto* number = ofKind<vanto::Int64Object>(object);
  return number == nullptr ? 0 : number->value();
}

vanto_object_t vanto_double_create(double value) {
  return handOver(vanto::DoubleObject::create(value));
}

double vanto_double_get_value(vanto_object_t object) {
  const auto* number = ofKind<vanto::DoubleObject>(object);
  return number == nullptr ? 0 : number->value();
}

vanto_object_t vanto_data_create(const void* bytes, size_t length) {
  if (bytes == nullptr && length != 0) return nullptr;
  return handOver(vanto::DataObject::create({static_cast<const uint8_t*>(bytes), length}));
}

vanto_object_t vanto_data_create_with_sealed_fd(int fd, size_t length) {
  return handOver(vanto::SealedDataObject::create(vanto::FdObject::duplicate(fd), length));
}

size_t vanto_data_get_length(vanto_object_t data) {
  const auto* object = ofKind<vanto::DataObject>(data);
  return object == nullptr ? 0 : object->length();
}

const void* vanto_data_get_bytes_ptr(vanto_object_t data) {
  const auto* object = ofKind<vanto::DataObject>(data);
  return object == nullptr ? nullptr : object->bytes();
}

vanto_object_t vanto_array_create(const vanto_object_t* objects, size_t count) {
  const size_t usable = objects == nullptr ? 0 : count;
  Ref<vanto::ArrayObject> array = vanto::ArrayObject::create(usable);
  for (size_t index = 0; index < usable; ++index) vanto_array_append_value(array.get(), objects[index]);
  return handOver(std::move(array));
}

void vanto_array_append_value(vanto_object_t array, vanto_object_t value) {
  auto* object = ofKind<vanto::ArrayObject>(array);
  if (object != nullptr && canHold(array, value)) object->append(Ref<vanto_object>::share(value));
}

size_t vanto_array_get_count(vanto_object_t array) {
  const auto* object = ofKind<vanto::ArrayObject>(array);
  return object == nullptr ? 0 : object->count();
}

vanto_object_t vanto_array_get_value(vanto_object_t array, size_t index) {
  const auto* object = ofKind<vanto::ArrayObject>(array);
  return object == nullptr || index >= object->count() ? nullptr : object->elements()[index];
}

vanto_object_t vanto_dictionary_create(const char* const* keys, const vanto_object_t* values, size_t count) {
  const size_t usable = keys == nullptr || values == nullptr ? 0 : count;
  // A dictionary made empty is about to be filled: a few entries fit without a further allocation.
  constexpr size_t usualCount = 6;
  Ref<vanto::DictionaryObject> dictionary = vanto::DictionaryObject::create(usable == 0 ? usualCount : usable);
  for (size_t index = 0; index < usable; ++index) setValue(*dictionary, keys[index], values[index]);
  return handOver(std::move(dictionary));
}

void vanto_dictionary_set_value(vanto_object_t dictionary, const char* key, vanto_object_t value) {
  auto* object = ofKind<vanto::DictionaryObject>(dictionary);
  if (object != nullptr) setValue(*object, key, value);
}

vanto_object_t vanto_dictionary_get_value(vanto_object_t dictionary, const char* key) {
  const auto* object = ofKind<vanto::DictionaryObject>(dictionary);
  return object == nullptr || key == nullptr ? nullptr : object->valueForKey(key);
}

size_t vanto_dictionary_get_count(vanto_object_t dictionary) {
  const auto* object = ofKind<vanto::DictionaryObject>(dictionary);
  return object == nullptr ? 0 : object->count();
}

bool vanto_dictionary_apply(vanto_object_t dictionary, vanto_dictionary_applier_t function, void* context) {
  const auto* object = ofKind<vanto::DictionaryObject>(dictionary);
  if (object == nullptr || function == nullptr) return false;
  vanto::DictionaryObject::Cursor cursor(*object);
  while (const vanto::DictionaryObject::Entry* entry = cursor.next()) {
    if (!function(entry->key.terminatedText(), entry->value, context)) return false;
  }
  return true;
}

vanto_object_t vanto_fd_create(int fd) {
  return handOver(vanto::FdObject::create(vanto::FdObject::duplicate(fd)));
}

int vanto_fd_copy(vanto_object_t object) {
  const auto* carrier = ofKind<vanto::FdObject>(object);
  if (carrier != nullptr) return vanto::FdObject::duplicate(carrier->descriptor()).release();
  errno = EINVAL;
  return -1;
}

vanto_object_t vanto_error_create(vanto_error_code_t code, const char* text) {
  return handOver(
      vanto::ErrorObject::create(static_cast<uint32_t>(code), text == nullptr ? vanto::errorText(code) : text));
}

vanto_error_code_t vanto_error_get_code(vanto_object_t error) {
  const auto* object = ofKind<vanto::ErrorObject>(error);
  return object == nullptr ? VANTO_ERROR_NONE : object->code();
}

const char* vanto_error_get_text(vanto_object_t error) {
  const auto* object = ofKind<vanto::ErrorObject>(error);
  return object == nullptr ? nullptr : object->terminatedText();
}

const char* vanto_error_text(vanto_error_code_t code) {
  return vanto::errorText(code);
}
