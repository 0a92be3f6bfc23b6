// SPDX-License-Identifier: Apache-2.0
#include <VantoService/KorFunctions.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "value/Assertion.h"
#include "value/NumberConversion.h"
#include "value/ValueStorage.h"

namespace {

using vanto::NumberConversion;
using vanto::Object;

/// True for an object of the kind that an argument must have.
template <typename T>
bool is(Object* object) noexcept {
  return vanto::as<T>(object) != nullptr;
}

template <typename Value>
void write(void* place, Value value) noexcept {
  std::memcpy(place, &value, sizeof value);
}

/// Stores the number as an Integer. True when that is exactly the number.
template <typename Integer>
bool writeInteger(const PlistNumber& number, void* place) noexcept {
  const std::int64_t value = number.int64Value();
  const auto stored = static_cast<Integer>(std::clamp(value, std::int64_t{std::numeric_limits<Integer>::min()},
                                                      std::int64_t{std::numeric_limits<Integer>::max()}));
  write(place, stored);
  return stored == value && (!number.isReal() || NumberConversion::areEqual(value, number.doubleValue()));
}

/// Stores the number as a real. True when that is exactly the number.
template <typename Real>
bool writeReal(const PlistNumber& number, Real value, void* place) noexcept {
  write(place, value);
  return number.isReal() ? NumberConversion::areEqual(double{value}, number.doubleValue())
                         : NumberConversion::areEqual(number.int64Value(), double{value});
}

float floatValue(const PlistNumber& number) noexcept {
  // Not by way of a double, which would round an integer twice.
  return number.isReal() ? NumberConversion::toFloat(number.doubleValue()) : static_cast<float>(number.int64Value());
}

}  // namespace

Object* KorRetain(Object* object) {
  if (object != nullptr) object->retain();
  return object;
}

void KorRelease(Object* object) {
  if (object != nullptr) object->release();
}

KorTypeID KorGetTypeID(Object* object) {
  VANTO_ASSERT(object != nullptr);
  return object->runtimeClass().typeID;
}

KorTypeID KorStringGetTypeID() {
  return vanto::StringKind;
}
KorTypeID KorBooleanGetTypeID() {
  return vanto::BooleanKind;
}
KorTypeID KorArrayGetTypeID() {
  return vanto::ArrayKind;
}
KorTypeID KorDictionaryGetTypeID() {
  return vanto::DictionaryKind;
}
KorTypeID KorDataGetTypeID() {
  return vanto::DataKind;
}
KorTypeID KorNumberGetTypeID() {
  return vanto::NumberKind;
}
KorTypeID KorDateGetTypeID() {
  return vanto::DateKind;
}

bool KorStringGetCString(PlistString* string, char* buffer, std::size_t size, std::uint32_t encoding) {
  VANTO_ASSERT(is<PlistString>(string));
  const std::string_view text = string->text();
  if (encoding != KorStringEncodingUTF8 || text.size() >= size) return false;
  if (text.find('\0') != std::string_view::npos) return false;
  std::memcpy(buffer, string->utf8(), text.size() + 1);
  return true;
}

PlistString* KorStringCreateFromData(PlistData* data, std::uint32_t encoding) {
  if (data == nullptr || encoding != KorDataEncodingUTF8) return nullptr;
  VANTO_ASSERT(is<PlistData>(data));
  const auto bytes = data->bytes();
  return PlistString::create({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).leak();
}

bool KorBooleanGetValue(PlistBoolean* boolean) {
  VANTO_ASSERT(is<PlistBoolean>(boolean));
  return boolean->value();
}

std::size_t KorArrayGetCount(PlistArray* array) {
  VANTO_ASSERT(is<PlistArray>(array));
  return array->count();
}

Object* KorArrayGetValueAtIndex(PlistArray* array, std::size_t index) {
  VANTO_ASSERT(is<PlistArray>(array));
  return array->at(index);
}

void KorDictionaryApplyFunction(PlistDictionary* dictionary, KorDictionaryApplierFunction function, void* context) {
  VANTO_ASSERT(is<PlistDictionary>(dictionary));
  PlistDictionary::Cursor cursor(*dictionary);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) function(entry.key, entry.value, context);
}

std::size_t KorDataGetLength(PlistData* data) {
  VANTO_ASSERT(is<PlistData>(data));
  return data->length();
}

const std::uint8_t* KorDataGetBytePtr(PlistData* data) {
  VANTO_ASSERT(is<PlistData>(data));
  return data->bytes().data();
}

KorNumberType KorNumberGetType(PlistNumber* number) {
  VANTO_ASSERT(is<PlistNumber>(number));
  return number->subtype();
}

bool KorNumberGetValue(PlistNumber* number, KorNumberType subtype, void* value) {
  VANTO_ASSERT(is<PlistNumber>(number));
  switch (subtype) {
    case KorNumberSInt8Type:
      return writeInteger<std::int8_t>(*number, value);
    case KorNumberSInt16Type:
      return writeInteger<std::int16_t>(*number, value);
    case KorNumberSInt32Type:
      return writeInteger<std::int32_t>(*number, value);
    case KorNumberSInt64Type:
    case KorNumberLongLongType:
      return writeInteger<std::int64_t>(*number, value);
    case KorNumberCharType:
      return writeInteger<char>(*number, value);
    case KorNumberShortType:
      return writeInteger<short>(*number, value);
    case KorNumberIntType:
      return writeInteger<int>(*number, value);
    case KorNumberLongType:
      return writeInteger<long>(*number, value);
    case KorNumberIndexType:
    case KorNumberIntegerType:
      return writeInteger<std::intptr_t>(*number, value);
    case KorNumberFloat32Type:
    case KorNumberFloatType:
      return writeReal(*number, floatValue(*number), value);
    case KorNumberFloat64Type:
    case KorNumberDoubleType:
    case KorNumberGraphicsFloatType:
      return writeReal(*number, number->doubleValue(), value);
  }
  return false;
}
