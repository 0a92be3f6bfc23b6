// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

namespace vanto::testing {

// Short ways to make values in tests. All results are temporaries.

inline PlistString* string(std::string_view text) {
  return PlistString::create(text).asTemporary();
}

inline PlistMutableString* mutableString(std::string_view text) {
  return PlistMutableString::create(text).asTemporary();
}

inline PlistNumber* number(std::int64_t value) {
  return PlistNumber::create(value).asTemporary();
}
inline PlistNumber* real(double value) {
  return PlistNumber::create(value).asTemporary();
}

inline PlistArray* array(const std::vector<Object*>& elements) {
  return PlistArray::create(elements).asTemporary();
}

inline PlistMutableArray* mutableArray(const std::vector<Object*>& elements) {
  PlistMutableArray* result = PlistMutableArray::create().asTemporary();
  for (Object* element : elements) result->append(element);
  return result;
}

inline PlistDictionary* dictionary(const std::vector<PlistDictionary::Entry>& entries) {
  return PlistDictionary::create(entries).asTemporary();
}

inline PlistMutableDictionary* mutableDictionary(const std::vector<PlistDictionary::Entry>& entries) {
  PlistMutableDictionary* result = PlistMutableDictionary::create().asTemporary();
  for (const PlistDictionary::Entry& entry : entries) result->setValueForKey(entry.value, entry.key);
  return result;
}

/// The plain description as C++ text.
inline std::string description(const Object& object) {
  return std::string(object.description()->text());
}

}  // namespace vanto::testing
