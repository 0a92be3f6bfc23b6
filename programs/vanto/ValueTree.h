// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <VantoService/PlistValue.h>

#include "vanto/TreeText.h"

namespace vanto::tool {

/// A value for people: one visible line for each key and element, containers opened below theirs by two blanks a level.
/// Strings stand in quotes, so that `"1"`, `1`, `1.0` and `true` are told apart; of data its length and its first
/// bytes.
[[nodiscard]] std::string treeOf(Object* value, std::size_t level = 0, TreeText text = TreeText());

/// A value that is no container, or an empty one, in one line.
[[nodiscard]] std::string leafLine(Object* value);

}  // namespace vanto::tool
