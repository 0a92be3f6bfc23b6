// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "vanto/HelpTopic.h"

namespace vanto::tool {

/// What the commands about services, bundles and documents print for help.
[[nodiscard]] std::span<const HelpTopic> serviceHelp();

}  // namespace vanto::tool
