// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "ipc/StringObject.h"
#include "jobdata/JobDataDescription.h"
#include "jobdata/JobDataNode.h"
#include "jobdata/JobDataPacking.h"
#include "value/Assertion.h"
#include "value/Memory.h"
#include "value/platform/jobdata.h"

namespace {

using Owned = tolven_data::Owned;

template <typename T>
T* contentOf(tolven_data_t data) noexcept {
  return data == nullptr ? nullptr : data->content<T>();
}

template <typename T>
T valueOf(tolven_data_t data) noexcept {
  const T* content = contentOf<T>(data);
  return content == nullptr ? T() : *content;
}

template <typename T>
void setValue(tolven_data_t data, T value) noexcept {
  if (T* content = contentOf<T>(data)) *content = value;
}

/// Text that can be stored: none for null and for bytes that are no UTF-8.
std::optional<std::string_view> acceptable(const char* text) noexcept {
  if (text == nullptr || !vanto::StringObject::accepts(text)) return std::nullopt;
  return text;
}

/// A copy of the bytes for a caller who frees it with free().
void* copyOf(const void* bytes, std::size_t size) noexcept {
  return std::memcpy(vanto::Memory::allocate(size), bytes, size);
}

}  // namespace

tolven_data_t tolven_data_alloc(tolven_data_kind_t kind) {
  return tolven_data::create(kind).leak();
}

void tolven_data_free(tolven_data_t data) {
  if (data == nullptr) return;
  VANTO_ASSERT(!data->hasContainer());
  data->release();
}

tolven_data_kind_t tolven_data_get_kind(tolven_data_t data) {
  return data == nullptr ? TOLVEN_DATA_NONE : data->kind();
}

void tolven_data_set_string(tolven_data_t data, const char* text) {
  auto* content = contentOf<std::string>(data);
  const std::optional<std::string_view> accepted = acceptable(text);
  if (content != nullptr && accepted) *content = *accepted;
}

const char* tolven_data_get_string(tolven_data_t data) {
  const auto* content = contentOf<std::string>(data);
  return content == nullptr ? nullptr : content->c_str();
}

void tolven_data_set_bool(tolven_data_t data, bool value) {
  setValue(data, value);
}

bool tolven_data_get_bool(tolven_data_t data) {
  return valueOf<bool>(data);
}

void tolven_data_set_integer(tolven_data_t data, int64_t value) {
  setValue(data, value);
}

int64_t tolven_data_get_integer(tolven_data_t data) {
  return valueOf<int64_t>(data);
}

void tolven_data_set_real(tolven_data_t data, double value) {
  setValue(data, value);
}

double tolven_data_get_real(tolven_data_t data) {
  return valueOf<double>(data);
}

void tolven_data_set_opaque(tolven_data_t data, const void* bytes, size_t length) {
  if (data == nullptr || (bytes == nullptr && length != 0)) return;
  data->setBytes({static_cast<const std::uint8_t*>(bytes), length});
}

const void* tolven_data_get_opaque(tolven_data_t data) {
  const auto* bytes = contentOf<tolven_data::Bytes>(data);
  if (bytes == nullptr) return nullptr;
  return bytes->contents.empty() ? static_cast<const void*>("") : bytes->contents.data();
}

size_t tolven_data_get_opaque_length(tolven_data_t data) {
  const auto* bytes = contentOf<tolven_data::Bytes>(data);
  return bytes == nullptr ? 0 : bytes->contents.size();
}

void tolven_data_array_set_index(tolven_data_t array, size_t index, tolven_data_t value) {
  auto* elements = contentOf<tolven_data::Elements>(array);
  if (elements == nullptr) return tolven_data_free(value);
  VANTO_ASSERT(index < elements->max_size());
  array->setElement(*elements, index, Owned::adopt(value));
}

size_t tolven_data_array_get_count(tolven_data_t array) {
  const auto* elements = contentOf<tolven_data::Elements>(array);
  return elements == nullptr ? 0 : elements->size();
}

tolven_data_t tolven_data_array_get_index(tolven_data_t array, size_t index) {
  const auto* elements = contentOf<tolven_data::Elements>(array);
  return elements == nullptr || index >= elements->size() ? nullptr : (*elements)[index].get();
}

void tolven_data_dict_insert(tolven_data_t dictionary, const char* key, tolven_data_t value) {
  if (value == nullptr) return;
  auto* entries = contentOf<tolven_data::Entries>(dictionary);
  const std::optional<std::string_view> accepted = acceptable(key);
  if (entries == nullptr || !accepted) return tolven_data_free(value);
  dictionary->setEntry(*entries, *accepted, Owned::adopt(value));
}

size_t tolven_data_dict_get_count(tolven_data_t dictionary) {
  const auto* entries = contentOf<tolven_data::Entries>(dictionary);
  return entries == nullptr ? 0 : entries->size();
}

tolven_data_t tolven_data_dict_lookup(tolven_data_t dictionary, const char* key) {
  const auto* entries = contentOf<tolven_data::Entries>(dictionary);
  if (entries == nullptr || key == nullptr) return nullptr;
  const auto found = entries->find(std::string_view(key));
  return found == entries->end() ? nullptr : found->second.get();
}

bool tolven_data_dict_apply(tolven_data_t dictionary, tolven_data_dict_applier_t function, void* context) {
  const auto* entries = contentOf<tolven_data::Entries>(dictionary);
  if (entries == nullptr || function == nullptr) return false;
  for (const auto& [key, value] : *entries) {
    if (!function(key.c_str(), value.get(), context)) return false;
  }
  return true;
}

char* tolven_data_copy_description(tolven_data_t data) {
  const std::string text = vanto::describeJobData(data);
  return static_cast<char*>(copyOf(text.c_str(), text.size() + 1));
}

void* tolven_data_pack(tolven_data_t data, size_t* length) {
  vanto::ByteBuffer packed;
  if (data == nullptr || length == nullptr || !vanto::packJobData(*data, packed)) return nullptr;
  *length = packed.size();
  return copyOf(packed.bytes().data(), packed.size());
}

tolven_data_t tolven_data_unpack(const void* bytes, size_t length) {
  if (bytes == nullptr) return nullptr;
  return vanto::unpackJobData({static_cast<const std::uint8_t*>(bytes), length}).leak();
}
