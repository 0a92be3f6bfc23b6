// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <VantoService/PropertyList.h>

#include "vanto/KeyPath.h"

namespace vanto::tool {

/// Why a value has no JSON text, or JSON text no value.
struct JsonProblem {
  /// Of text that is no JSON, both from 1; 0 otherwise.
  std::size_t line = 0;
  std::size_t column = 0;
  /// Of the value that has no counterpart.
  KeyPath where;
  /// What is wrong, visible.
  std::string message;
};

/// `value` as JSON, in the form that docs/formats/json.md describes: valid UTF-8, indented by two blanks, keys in
/// ascending order, a line feed at the end, and no character in it that visible() would escape. Empty with `problem`
/// when JSON cannot carry it.
[[nodiscard]] std::string jsonText(const Object& value, JsonProblem& problem);

/// The same in one line.
[[nodiscard]] std::string jsonLine(const Object& value, JsonProblem& problem);

/// The value of JSON text in that form; null with `problem`.
[[nodiscard]] Ref<PlistValue> createFromJson(std::string_view text, JsonProblem& problem);

}  // namespace vanto::tool
