// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <VantoService/vanto.h>

#include "vanto/TreeText.h"

namespace vanto::tool {

/// An IPC object for people: a visible line for each object, with its kind, `Label: string "org.example.echo"`; what a
/// container holds below it.
[[nodiscard]] std::string ipcTree(vanto_object_t object, std::size_t level = 0, TreeText text = TreeText());

}  // namespace vanto::tool
