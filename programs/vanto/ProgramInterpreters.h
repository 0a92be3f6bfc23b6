// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vanto::tool {

/// The files that the kernel executes as well when it executes `program`: interpreters of scripts, and the loader of
/// the program at the end. None when one of the files cannot be read, or is no program.
[[nodiscard]] std::optional<std::vector<std::string>> interpretersOf(const std::string& program);

}  // namespace vanto::tool
