// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "sandbox/Plan.h"

namespace vanto {

/// Where a service gets the socket that it listens on.
enum class ListeningSocket : std::uint8_t { HandedOver, Made };

/// What the platform does after confinement, whatever the profile says, for the service `identifier`: logging, asking
/// the code-signing service, reading the policy for role accounts and, where the kernel tells too little of clients,
/// files of /proc, and making a socket, where nobody has handed the service one. Makes the user's domain directory for
/// the last. An empty identifier stands for no service.
[[nodiscard]] std::vector<PlannedPath> ownNeedsOf(std::string_view identifier, ListeningSocket socket);

}  // namespace vanto
