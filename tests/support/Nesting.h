// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "support/Values.h"

namespace vanto::testing {

/// An object inside `depth` containers: arrays, mutable arrays, dictionaries and mutable dictionaries in turn.
inline Ref<Object> nestedContainers(std::size_t depth, Object& innermost) {
  const Ref<PlistString> key = PlistString::create("k");
  Ref<Object> result = Ref<Object>::share(&innermost);
  for (std::size_t level = 0; level < depth; ++level) {
    Object* const element = result.get();
    const PlistDictionary::Entry entry{key.get(), element};
    Ref<PlistMutableArray> changeableArray;
    Ref<PlistMutableDictionary> changeableDictionary;
    switch (level % 4) {
      case 0:
        result = PlistArray::create({&element, 1});
        break;
      case 1:
        changeableArray = PlistMutableArray::create();
        changeableArray->append(element);
        result = changeableArray;
        break;
      case 2:
        result = PlistDictionary::create({&entry, 1});
        break;
      default:
        changeableDictionary = PlistMutableDictionary::create();
        changeableDictionary->setValueForKey(element, key.get());
        result = changeableDictionary;
        break;
    }
  }
  return result;
}

}  // namespace vanto::testing
