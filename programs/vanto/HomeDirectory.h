// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace vanto::tool {

/// The home directory that the user database has for the user that runs this, without symbolic links. None with a
/// visible text in `problem` when there is none, or it does not exist.
[[nodiscard]] std::optional<std::string> homeDirectory(std::string& problem);

}  // namespace vanto::tool
