// SPDX-License-Identifier: Apache-2.0
#include "value/Description.h"

#include <cstddef>
#include <string_view>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>

namespace vanto {

namespace {

/// Containers inside containers that are printed; the outermost counts 1. It bounds the stack, and the text of an
/// array that contains itself.
constexpr std::size_t printedNesting = 16;

constexpr std::string_view missing = "(null)";
constexpr std::string_view ellipsis = "…";

void appendAny(PlistMutableString& text, Object* object, std::size_t level);

void appendArray(PlistMutableString& text, const PlistArray& array, std::size_t level) {
  std::string_view separator = "[";
  PlistArray::Cursor cursor(array);
  for (Object* element = nullptr; cursor.next(element); separator = ", ") {
    text.append(separator);
    appendAny(text, element, level);
  }
  text.append(array.count() == 0 ? "[]" : "]");
}

void appendDictionary(PlistMutableString& text, const PlistDictionary& dictionary, std::size_t level) {
  std::string_view separator = "{";
  PlistDictionary::Cursor cursor(dictionary);
  for (PlistDictionary::Entry entry{}; cursor.next(entry); separator = ", ") {
    text.append(separator);
    text.append(*entry.key);
    text.append(" = ");
    appendAny(text, entry.value, level);
  }
  text.append(dictionary.count() == 0 ? "{}" : "}");
}

/// Appends an object that lies inside `level` containers.
void appendAny(PlistMutableString& text, Object* object, std::size_t level) {
  const PlistArray* array = as<PlistArray>(object);
  const PlistDictionary* dictionary = as<PlistDictionary>(object);
  if (object == nullptr) {
    text.append(missing);
  } else if ((array != nullptr || dictionary != nullptr) && level == printedNesting) {
    text.append(ellipsis);
  } else if (array != nullptr) {
    appendArray(text, *array, level + 1);
  } else if (dictionary != nullptr) {
    appendDictionary(text, *dictionary, level + 1);
  } else {
    text.append(*Description::create(*object));
  }
}

}  // namespace

Ref<PlistString> Description::create(const Object& object) {
  const Class* candidate = &object.runtimeClass();
  while (candidate->createDescription == nullptr) candidate = candidate->superclass;
  return candidate->createDescription(object);
}

Ref<PlistString> Description::createOfUnknown(const Object& object) {
  Ref<PlistMutableString> text = PlistMutableString::create();
  text->append(object.runtimeClass().name);
  text->appendFormat(" %p", {&object});
  return text;
}

Ref<PlistString> Description::createOfContainer(const Object& container) {
  Ref<PlistMutableString> text = PlistMutableString::create();
  appendAny(*text, const_cast<Object*>(&container), 0);
  return text;
}

}  // namespace vanto
