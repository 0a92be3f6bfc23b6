// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <VantoService/tolven_data.h>

#include "vanto/TreeText.h"

namespace vanto::tool {

/// Job data for people: a visible line for each node, with its kind, `Label: string "org.example.echo"`; what a
/// container holds below it.
[[nodiscard]] std::string jobDataTree(tolven_data_t data, std::size_t level = 0, TreeText text = TreeText());

}  // namespace vanto::tool
