// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::tool {

/// What `--help` prints of a command such as "list" or "cache write"; of the program itself for "vanto".
[[nodiscard]] std::string helpText(const std::string& command);

}  // namespace vanto::tool
