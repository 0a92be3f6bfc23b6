// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "vanto/HelpTopic.h"

namespace vanto::tool {

/// What the commands about sandbox profiles print for help.
[[nodiscard]] std::span<const HelpTopic> profileHelp();

}  // namespace vanto::tool
