// SPDX-License-Identifier: Apache-2.0
#include "job/IPCObjectConversion.h"

#include <syslog.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "job/ValueConversion.h"

namespace {

using Node = vanto::ConversionForm::Node;

vanto_object_t asObject(Node node) noexcept {
  return static_cast<vanto_object_t>(node);
}

Node makeString(const char* text) {
  return vanto_string_create(text);
}

Node makeBoolean(bool value) {
  return vanto_bool_create(value);
}

Node makeArray() {
  return vanto_array_create(nullptr, 0);
}

Node makeDictionary() {
  return vanto_dictionary_create(nullptr, nullptr, 0);
}

Node makeData(const std::uint8_t* bytes, std::size_t length) {
  return vanto_data_create(bytes, length);
}

Node makeInteger(std::int64_t value) {
  return vanto_int64_create(value);
}

Node makeReal(double value) {
  return vanto_double_create(value);
}

void putElement(Node array, std::size_t, Node element) {
  vanto_array_append_value(asObject(array), asObject(element));
  vanto_release(asObject(element));
}

void putEntry(Node dictionary, PlistString* key, Node value) {
  const vanto::ConvertedText text(*key);
  vanto_dictionary_set_value(asObject(dictionary), text.utf8, asObject(value));
  vanto_release(asObject(value));
}

void reportNumber() {
  syslog(LOG_ERR, "Kor2Vanto_data() fails for KorNumberType");
}

void reportKind() {
  syslog(LOG_ERR, "Kor2Vanto_data() fails for top-level KorGetTypeID()");
}

constexpr vanto::ConversionForm ipcObjectForm{
    &makeString, &makeBoolean, &makeArray, &makeDictionary, &makeData,   &makeInteger,
    &makeReal,   &putElement,  &putEntry,  &reportNumber,   &reportKind,
};

}  // namespace

vanto_object_t Kor2Vanto_data(vanto::Object* value) {
  return asObject(vanto::convertValue(value, ipcObjectForm));
}

void KorDictionaryToVanto(PlistString* key, vanto::Object* value, void* target) {
  putEntry(target, key, Kor2Vanto_data(value));
}

vanto_object_t VantoServiceBundle::createVantoJobsArrayFromArray(vanto::Object* array) {
  return Kor2Vanto_data(array);
}

vanto_object_t VantoServiceBundle::vantoJobData() {
  if (!dispatch_once_done(&_vantoJobDataPredicate)) [[unlikely]]
    computeVantoJobData();
  return _vantoJobData;
}

void VantoServiceBundle::computeVantoJobData() {
  dispatch_once(&_vantoJobDataPredicate, [this] {
    const vanto::TemporaryScope scope;
    _vantoJobData = Kor2Vanto_data(tolvendJobDictionary());
    // Callers may keep the object for as long as the process lives: this reference is never dropped, nor is the first.
    vanto_retain(_vantoJobData);
  });
}
