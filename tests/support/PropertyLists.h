// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <VantoService/PropertyList.h>

namespace vanto::testing {

// Short ways to read and write property lists in tests.

inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline Ref<PlistValue> readDocument(std::string_view document) {
  return createPropertyList(bytesOf(document));
}

/// The value of a document that holds one element.
inline Ref<PlistValue> readElement(std::string_view element) {
  return readDocument("<plist version=\"1.0\">" + std::string(element) + "</plist>");
}

/// Where and why a document is refused, as "line:column message"; empty when it is not.
inline std::string mistakeIn(std::string_view document) {
  PropertyListError error;
  if (createPropertyList(bytesOf(document), &error)) return "";
  return std::to_string(error.line) + ":" + std::to_string(error.column) + " " + error.message;
}

/// The same for a document that holds one element; the column counts from the beginning of the element.
inline std::string mistakeInElement(std::string_view element) {
  return mistakeIn("<plist\nversion=\"1.0\"\n>\n" + std::string(element) + "</plist>");
}

/// The document for a value, or the reason why there is none.
inline std::string written(const Object& value) {
  PropertyListError error;
  const Ref<PlistData> data = createPropertyListXML(value, &error);
  if (!data) return error.message;
  return {reinterpret_cast<const char*>(data->bytes().data()), data->length()};
}

/// The part of the document for a value that is the value.
inline std::string writtenElement(const Object& value) {
  constexpr std::string_view before = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
  constexpr std::string_view behind = "\n</plist>\n";
  const std::string document = written(value);
  if (!document.starts_with(before) || !document.ends_with(behind)) return document;
  return document.substr(before.size(), document.size() - before.size() - behind.size());
}

/// The binary document for a value, or the reason why there is none.
inline std::string writtenBinary(const Object& value) {
  PropertyListError error;
  const Ref<PlistData> data = createPropertyListBinary(value, &error);
  if (!data) return error.message;
  return {reinterpret_cast<const char*>(data->bytes().data()), data->length()};
}

}  // namespace vanto::testing
