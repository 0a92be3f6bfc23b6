// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::tool {

/// Where the program `name` is, by the directories of PATH where it has no slash; empty when it is nowhere.
[[nodiscard]] std::string programNamed(const std::string& name);

}  // namespace vanto::tool
