// SPDX-License-Identifier: Apache-2.0
// Any property list converts to both forms, and both say the same where they should: no text in them comes from
// anywhere but the list, each container has as many elements, and job data that fits into bytes comes back from them.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <VantoService/KorFunctions.h>
#include <VantoService/PropertyList.h>

#include "job/IPCObjectConversion.h"
#include "job/JobDataConversion.h"

namespace {

using vanto::Object;

void require(bool condition) {
  if (!condition) std::abort();
}

/// Text as a converter leaves it.
std::string_view kept(std::string_view text) {
  return text.size() > 4095 || text.find('\0') != std::string_view::npos ? std::string_view() : text;
}

void compare(Object* value, tolven_data_t data, vanto_object_t object);

/// Dates are the only values of a property list that convert to nothing.
bool isRefused(Object* value) {
  return vanto::as<PlistDate>(value) != nullptr;
}

void compareElements(const PlistArray& array, tolven_data_t data, vanto_object_t object) {
  require(tolven_data_array_get_count(data) == array.count());
  std::size_t next = 0;
  for (std::size_t index = 0; index < array.count(); ++index) {
    tolven_data_t element = tolven_data_array_get_index(data, index);
    require((element == nullptr) == isRefused(array.at(index)));
    if (element != nullptr) compare(array.at(index), element, vanto_array_get_value(object, next++));
  }
  require(vanto_array_get_count(object) == next);
}

/// Of entries whose keys become empty the last that converts counts; they are not compared.
void compareEntries(const PlistDictionary& dictionary, tolven_data_t data, vanto_object_t object) {
  require(tolven_data_dict_get_count(data) == vanto_dictionary_get_count(object));
  PlistDictionary::Cursor cursor(dictionary);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    if (kept(entry.key->text()).empty()) continue;
    tolven_data_t element = tolven_data_dict_lookup(data, entry.key->utf8());
    require((element == nullptr) == isRefused(entry.value));
    if (element != nullptr) compare(entry.value, element, vanto_dictionary_get_value(object, entry.key->utf8()));
  }
}

void compareBytes(const PlistData& bytes, tolven_data_t data, vanto_object_t object) {
  const std::size_t length = bytes.length();
  require(tolven_data_get_kind(data) == TOLVEN_DATA_ARRAY && tolven_data_get_opaque(data) != nullptr);
  require(tolven_data_get_opaque_length(data) == length && vanto_data_get_length(object) == length);
  require(length == 0 || std::memcmp(tolven_data_get_opaque(data), bytes.bytes().data(), length) == 0);
  require(length == 0 || std::memcmp(vanto_data_get_bytes_ptr(object), bytes.bytes().data(), length) == 0);
}

void compareNumber(const PlistNumber& number, tolven_data_t data, vanto_object_t object) {
  if (!number.isReal()) {
    require(tolven_data_get_integer(data) == number.int64Value());
    return require(vanto_int64_get_value(object) == number.int64Value());
  }
  const double value = number.doubleValue();
  const double ofData = tolven_data_get_real(data);
  const double ofObject = vanto_double_get_value(object);
  require(std::memcmp(&value, &ofData, sizeof value) == 0 && std::memcmp(&value, &ofObject, sizeof value) == 0);
}

void compare(Object* value, tolven_data_t data, vanto_object_t object) {
  require(data != nullptr && object != nullptr);
  if (const auto* string = vanto::as<PlistString>(value)) {
    require(tolven_data_get_string(data) == kept(string->text()));
    require(vanto_string_get_text(object) == kept(string->text()));
  } else if (const auto* array = vanto::as<PlistArray>(value)) {
    compareElements(*array, data, object);
  } else if (const auto* dictionary = vanto::as<PlistDictionary>(value)) {
    compareEntries(*dictionary, data, object);
  } else if (const auto* bytes = vanto::as<PlistData>(value)) {
    compareBytes(*bytes, data, object);
  } else if (auto* boolean = vanto::as<PlistBoolean>(value)) {
    require(tolven_data_get_kind(data) == TOLVEN_DATA_BOOL && tolven_data_get_bool(data) == boolean->value());
    require(vanto_kind(object) == VANTO_KIND_BOOL && vanto_bool_get_value(object) == boolean->value());
  } else if (const auto* number = vanto::as<PlistNumber>(value)) {
    compareNumber(*number, data, object);
  } else {
    require(false);
  }
}

void comparePacked(tolven_data_t data) {
  std::size_t length = 0;
  void* packed = tolven_data_pack(data, &length);
  if (packed == nullptr) return;
  tolven_data_t unpacked = tolven_data_unpack(packed, length);
  require(unpacked != nullptr);
  std::size_t lengthAgain = 0;
  void* again = tolven_data_pack(unpacked, &lengthAgain);
  require(again != nullptr && lengthAgain == length && std::memcmp(again, packed, length) == 0);
  std::free(again);
  std::free(packed);
  tolven_data_free(unpacked);
}

}  // namespace

/// The line for each date would drown everything else. Descriptor 2 stays what it is, for reports.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  stderr = std::fopen("/dev/null", "w");
  require(stderr != nullptr);
  return 0;
}

/// In place of the log, for the same reason.
extern "C" __attribute__((visibility("default"))) void syslog(int, const char*, ...) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const vanto::Ref<PlistValue> value = vanto::createPropertyList({bytes, size});
  if (!value) return 0;
  tolven_data_t data = Kor2tolven_data(value.get());
  vanto_object_t object = Kor2Vanto_data(value.get());
  if (isRefused(value.get())) {
    require(data == nullptr && object == nullptr);
  } else {
    compare(value.get(), data, object);
    comparePacked(data);
    std::free(tolven_data_copy_description(data));
    std::free(vanto_copy_description(object));
  }
  tolven_data_free(data);
  vanto_release(object);
  return 0;
}
