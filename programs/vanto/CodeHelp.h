// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "vanto/HelpTopic.h"

namespace vanto::tool {

/// What the commands about code, keys and trust print for help.
[[nodiscard]] std::span<const HelpTopic> codeHelp();

}  // namespace vanto::tool
