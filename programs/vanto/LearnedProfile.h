// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/LearnedPolicy.h"

namespace vanto::tool {

/// The text of a profile that allows what `policy` does, with its remarks and the command as comments. The same for the
/// same.
[[nodiscard]] std::string profileTextOf(const LearnedPolicy& policy, const std::vector<std::string>& command);

}  // namespace vanto::tool
