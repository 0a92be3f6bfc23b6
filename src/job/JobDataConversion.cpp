// SPDX-License-Identifier: Apache-2.0
#include "job/JobDataConversion.h"

#include <cstdio>

#include <VantoService/VantoServiceBundle.h>

#include "job/ValueConversion.h"

namespace {

using Node = vanto::ConversionForm::Node;

tolven_data_t asData(Node node) noexcept {
  return static_cast<tolven_data_t>(node);
}

Node makeString(const char* text) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_STRING);
  tolven_data_set_string(data, text);
  return data;
}

Node makeBoolean(bool value) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_BOOL);
  tolven_data_set_bool(data, value);
  return data;
}

Node makeArray() {
  return tolven_data_alloc(TOLVEN_DATA_ARRAY);
}

Node makeDictionary() {
  return tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
}

Node makeBytes(const std::uint8_t* bytes, std::size_t length) {
  // An array on purpose, not kind 8: whoever reads jobs expects it so.
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  // Empty data may have no address.
  tolven_data_set_opaque(data, bytes, length);
  return data;
}

Node makeInteger(std::int64_t value) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_INTEGER);
  tolven_data_set_integer(data, value);
  return data;
}

Node makeReal(double value) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_REAL);
  tolven_data_set_real(data, value);
  return data;
}

void putElement(Node array, std::size_t index, Node element) {
  tolven_data_array_set_index(asData(array), index, asData(element));
}

void putEntry(Node dictionary, PlistString* key, Node value) {
  tolven_data_t convertedKey = Kor2tolven_data(key);
  tolven_data_dict_insert(asData(dictionary), tolven_data_get_string(convertedKey), asData(value));
  tolven_data_free(convertedKey);
}

void reportNumber() {
  std::fputs("Kor2tolven_data() fails for KorNumberType\n", stderr);
}

void reportKind() {
  std::fputs("Kor2tolven_data() fails for top-level KorGetTypeID()\n", stderr);
}

constexpr vanto::ConversionForm jobDataForm{
    &makeString, &makeBoolean, &makeArray, &makeDictionary, &makeBytes,  &makeInteger,
    &makeReal,   &putElement,  &putEntry,  &reportNumber,   &reportKind,
};

}  // namespace

tolven_data_t Kor2tolven_data(vanto::Object* value) {
  return asData(vanto::convertValue(value, jobDataForm));
}

void myKorDictionaryApplyFunction(PlistString* key, vanto::Object* value, void* target) {
  putEntry(target, key, Kor2tolven_data(value));
}

tolven_data_t VantoServiceBundle::createTolvenDataFromArray(vanto::Object* array) {
  return Kor2tolven_data(array);
}

tolven_data_t VantoServiceBundle::tolvendJobTolvenData() {
  return Kor2tolven_data(tolvendJobDictionary());
}
