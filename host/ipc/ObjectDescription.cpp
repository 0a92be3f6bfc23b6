// SPDX-License-Identifier: Apache-2.0
#include "ipc/ObjectDescription.h"

#include <utility>

#include "ipc/ArrayObject.h"
#include "ipc/DataObject.h"
#include "ipc/DescriptionText.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/FdObject.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"
#include "value/limits.h"

namespace vanto {
namespace {

void addObject(DescriptionText& text, const vanto_object* object, std::size_t depth);

void addData(DescriptionText& text, const DataObject& data) {
  text.addBytes(data.bytes(), data.length());
}

void addArray(DescriptionText& text, const ArrayObject& array, std::size_t depth) {
  if (depth > limits::ipcDescriptionNesting) return text.add("[...]");
  text.add("[");
  bool isFirst = true;
  for (const vanto_object* element : array.elements()) {
    if (text.isFull()) return;
    if (!std::exchange(isFirst, false)) text.add(", ");
    addObject(text, element, depth);
  }
  text.add("]");
}

void addDictionary(DescriptionText& text, const DictionaryObject& dictionary, std::size_t depth) {
  if (depth > limits::ipcDescriptionNesting) return text.add("{...}");
  text.add("{");
  bool isFirst = true;
  DictionaryObject::Cursor cursor(dictionary);
  while (const DictionaryObject::Entry* entry = cursor.next()) {
    if (text.isFull()) return;
    if (!std::exchange(isFirst, false)) text.add(", ");
    text.addQuoted(entry->key.text());
    text.add(": ");
    addObject(text, entry->value, depth);
  }
  text.add("}");
}

void addError(DescriptionText& text, const ErrorObject& error) {
  text.add("error ");
  text.addNumber(static_cast<std::uint32_t>(error.code()));
  text.add(" ");
  text.addQuoted(error.text());
}

/// `depth` is that of a container which comes next, counted from 1.
void addObject(DescriptionText& text, const vanto_object* object, std::size_t depth) {
  if (object == nullptr) return text.add("(null)");
  switch (object->kind()) {
    case VANTO_KIND_STRING:
      return text.addQuoted(static_cast<const StringObject*>(object)->text());
    case VANTO_KIND_BOOL:
      return text.add(static_cast<const BoolObject*>(object)->value() ? "true" : "false");
    case VANTO_KIND_INT64:
      return text.addNumber(static_cast<const Int64Object*>(object)->value());
    case VANTO_KIND_DOUBLE:
      return text.addNumber(static_cast<const DoubleObject*>(object)->value());
    case VANTO_KIND_DATA:
      return addData(text, *static_cast<const DataObject*>(object));
    case VANTO_KIND_ARRAY:
      return addArray(text, *static_cast<const ArrayObject*>(object), depth + 1);
    case VANTO_KIND_DICTIONARY:
      return addDictionary(text, *static_cast<const DictionaryObject*>(object), depth + 1);
    case VANTO_KIND_FD:
      text.add("fd ");
      return text.addNumber(static_cast<const FdObject*>(object)->descriptor());
    case VANTO_KIND_ERROR:
      return addError(text, *static_cast<const ErrorObject*>(object));
    case VANTO_KIND_MESSAGE:
      return text.add("message");
    case VANTO_KIND_LISTENER:
      return text.add("listener");
    case VANTO_KIND_CONNECTION:
      return text.add("connection");
    case VANTO_KIND_NONE:
      break;
  }
  text.add("object");
}

}  // namespace

std::string describe(const vanto_object* object) {
  DescriptionText text(limits::ipcDescriptionBytes);
  addObject(text, object, 0);
  return text.take();
}

}  // namespace vanto
