// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <vector>

#include "sandbox/Plan.h"

namespace vanto {

/// What the platform does after confinement, whatever the profile says, for the service `identifier`: logging, asking
/// the code-signing service, reading the policy for role accounts, and listening, where nobody has handed the service a
/// socket. Makes the user's domain directory for the last.
[[nodiscard]] std::vector<PlannedPath> ownNeedsOf(std::string_view identifier);

}  // namespace vanto
