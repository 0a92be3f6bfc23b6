// SPDX-License-Identifier: Apache-2.0
#include "vanto/Indentation.h"

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>

namespace vanto::tool {
namespace {

/// Takes the blanks of all lines out of `left`; false when there are not enough.
bool takeBlanks(Object* value, std::size_t blanks, std::size_t blanksOfLine, std::size_t& left) {
  if (blanksOfLine > left) return false;
  left -= blanksOfLine;
  if (auto* array = as<PlistArray>(value)) {
    for (Object* element : array->elements()) {
      if (!takeBlanks(element, blanks, blanksOfLine + blanks, left)) return false;
    }
  } else if (auto* dictionary = as<PlistDictionary>(value)) {
    PlistDictionary::Cursor cursor(*dictionary);
    PlistDictionary::Entry entry{};
    while (cursor.next(entry)) {
      if (!takeBlanks(entry.value, blanks, blanksOfLine + blanks, left)) return false;
    }
  }
  return true;
}

}  // namespace

bool indentsBeyond(Object* value, std::size_t blanks, std::size_t most) {
  return !takeBlanks(value, blanks, 0, most);
}

}  // namespace vanto::tool
