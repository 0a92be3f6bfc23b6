// SPDX-License-Identifier: Apache-2.0
#include "vanto/ValueKind.h"

#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

namespace vanto::tool {

const char* kindOf(Object* value) noexcept {
  if (as<PlistString>(value) != nullptr) return "a string";
  if (as<PlistBoolean>(value) != nullptr) return "a boolean";
  if (auto* number = as<PlistNumber>(value)) return number->isReal() ? "a real" : "an integer";
  if (as<PlistArray>(value) != nullptr) return "an array";
  if (as<PlistDictionary>(value) != nullptr) return "a dictionary";
  if (as<PlistData>(value) != nullptr) return "data";
  if (as<PlistDate>(value) != nullptr) return "a date";
  return "nothing";
}

}  // namespace vanto::tool
