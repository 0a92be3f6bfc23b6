// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto::manager {

/// Tells the socket that NOTIFY_SOCKET names, if it does, that the manager is ready, and takes the variable out of the
/// environment. Who does not listen there misses it.
void sendReadyNotice() noexcept;

}  // namespace vanto::manager
