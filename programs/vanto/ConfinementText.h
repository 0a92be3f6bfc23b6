// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/JobState.h"

namespace vanto::tool {

/// How far `job` is confined and why not further, in ten visible lines at most: of its processes the one that is
/// confined least, and what that one has told. Nothing while it is not known.
[[nodiscard]] std::vector<std::string> confinementLinesOf(const JobState& job);

}  // namespace vanto::tool
