// SPDX-License-Identifier: Apache-2.0
#include "code/Fields.h"

#include <algorithm>

#include <VantoService/PropertyList.h>

namespace vanto::code {

Object* Fields::valueOf(std::string_view key, Need need) {
  Object* const value = dictionary_.valueForKey(key);
  if (value != nullptr) ++taken_;
  if (value == nullptr && need == Need::Required) fail(key, "is missing");
  return value;
}

bool Fields::takeBytes(std::string_view key, std::span<std::uint8_t> bytes, Need need) {
  const auto* const data = take<PlistData>(key, need);
  if (data == nullptr) return false;
  if (data->length() != bytes.size()) {
    fail(key, "does not have " + std::to_string(bytes.size()) + " bytes");
    return false;
  }
  std::copy_n(data->bytes().data(), bytes.size(), bytes.data());
  return true;
}

bool Fields::takeText(std::string_view key, std::string& text, Need need) {
  const auto* const string = take<PlistString>(key, need);
  if (string != nullptr) text = string->text();
  return string != nullptr;
}

void Fields::fail(std::string_view key, std::string_view problem) {
  if (problem_.empty()) problem_ = std::string(key) + " " + std::string(problem);
}

const std::string& Fields::problem() {
  if (problem_.empty() && taken_ != dictionary_.count()) problem_ = "it has entries that are not known";
  return problem_;
}

Ref<PlistDictionary> readDictionary(std::string_view bytes, std::string& problem) {
  PropertyListError error;
  const Ref<PlistValue> value =
      createPropertyList({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, &error);
  if (!value) {
    problem = "is no property list: " + error.message;
    if (error.line != 0) problem += " (line " + std::to_string(error.line) + ")";
    return nullptr;
  }
  auto* const dictionary = as<PlistDictionary>(value.get());
  // Of the two forms, only that of XML begins in this way or with blanks; the other's first byte is in no text.
  const bool isText = !bytes.empty() && static_cast<unsigned char>(bytes.front()) < 0xF5;
  if (dictionary == nullptr || !isText) problem = isText ? "is no dictionary" : "is not XML";
  return isText ? Ref<PlistDictionary>::share(dictionary) : nullptr;
}

std::string writeDictionary(const PlistDictionary& dictionary) {
  const Ref<PlistData> data = createPropertyListXML(dictionary);
  if (!data) return {};
  return {reinterpret_cast<const char*>(data->bytes().data()), data->length()};
}

Ref<PlistData> createData(std::span<const std::uint8_t> bytes) {
  return PlistData::create(bytes);
}

void setField(PlistMutableDictionary& dictionary, std::string_view key, const Ref<PlistValue>& value) {
  dictionary.setValueForKey(value.get(), PlistString::create(key).get());
}

}  // namespace vanto::code
