// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace vanto::tool {

/// The label that an argument stands for: itself, or the identifier of the service bundle whose path it is. What has a
/// slash in it is a path, and so is the name of a directory with the extension of service bundles. None with a visible
/// text in `problem`.
[[nodiscard]] std::optional<std::string> labelOf(const std::string& argument, std::string& problem);

}  // namespace vanto::tool
