// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sandbox/Policy.h"

namespace vanto::tool {

/// Where `path` is at the end of all symbolic links on this machine, as far as it is there; absolute and clean. What
/// lies beneath /proc/self stays, as it is of another process each time.
[[nodiscard]] std::string realPath(const std::string& path);

/// `policy` with its rules at the real places of their paths, where kernels have them. The grants of a rule are in the
/// order of the profile again.
[[nodiscard]] Policy withRealPaths(const Policy& policy);

}  // namespace vanto::tool
