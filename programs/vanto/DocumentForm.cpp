// SPDX-License-Identifier: Apache-2.0
#include "vanto/DocumentForm.h"

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistString.h>

#include "vanto/JsonText.h"
#include "vanto/KeyPath.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

using Writer = Ref<PlistData> (*)(const Object& value, PropertyListError* error);

/// The binary form has bytes in place of lines.
std::string placeText(std::size_t line, std::size_t column) {
  if (line == 0) return column == 0 ? "" : ": byte " + std::to_string(column);
  return ":" + std::to_string(line) + ":" + std::to_string(column);
}

/// True for what can only be JSON among the forms.
bool looksLikeJson(std::string_view document) noexcept {
  const std::size_t first = document.find_first_not_of(" \t\r\n");
  return first != document.npos &&
         std::string_view("{[\"-0123456789tfn").find(document[first]) != std::string_view::npos;
}

/// Finds the first value in `value` that a writer refuses by itself. Containers are refused for what is in them or for
/// the size of the whole, which has no place.
bool findRefused(Object* value, Writer writer, const KeyPath& where, KeyPath& found) {
  if (auto* array = as<PlistArray>(value)) {
    for (std::size_t index = 0; index < array->count(); ++index) {
      if (findRefused(array->at(index), writer, where.element(index), found)) return true;
    }
    return false;
  }
  if (auto* dictionary = as<PlistDictionary>(value)) {
    PlistDictionary::Cursor cursor(*dictionary);
    PlistDictionary::Entry entry{};
    while (cursor.next(entry)) {
      const KeyPath inside = where.key(entry.key->text());
      if (findRefused(entry.key, writer, inside, found) || findRefused(entry.value, writer, inside, found)) return true;
    }
    return false;
  }
  if (value != nullptr && writer(*value, nullptr)) return false;
  found = where;
  return true;
}

std::optional<std::string> write(const Object& value, Writer writer, std::string& problem) {
  PropertyListError error;
  const Ref<PlistData> data = writer(value, &error);
  if (data) return std::string(reinterpret_cast<const char*>(data->bytes().data()), data->length());
  KeyPath where;
  findRefused(const_cast<Object*>(&value), writer, KeyPath(), where);
  problem = where.name() + ": " + visible(error.message);
  return std::nullopt;
}

}  // namespace

const char* nameOf(DocumentForm form) noexcept {
  return form == DocumentForm::Xml ? "XML" : form == DocumentForm::Binary ? "binary" : "JSON";
}

Ref<PlistValue> readDocument(std::string_view document, const std::string& name, std::string& problem) {
  Ref<PlistValue> value;
  if (looksLikeJson(document)) {
    JsonProblem error;
    value = createFromJson(document, error);
    const std::string where = error.line == 0 ? " " + error.where.name() + ":" : "";
    if (!value) problem = name + placeText(error.line, error.column) + ":" + where + " " + error.message;
  } else {
    PropertyListError error;
    value = createPropertyList({reinterpret_cast<const std::uint8_t*>(document.data()), document.size()}, &error);
    if (!value) problem = name + placeText(error.line, error.column) + ": " + visible(error.message);
  }
  return value;
}

std::optional<std::string> writeDocument(const Object& value, DocumentForm form, std::string& problem) {
  if (form == DocumentForm::Xml) return write(value, &createPropertyListXML, problem);
  if (form == DocumentForm::Binary) return write(value, &createPropertyListBinary, problem);
  JsonProblem error;
  std::string text = jsonText(value, error);
  if (!text.empty()) return text;
  problem = error.where.name() + ": " + error.message;
  return std::nullopt;
}

}  // namespace vanto::tool
