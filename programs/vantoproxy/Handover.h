// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vantoproxy/Failure.h"

namespace vanto {

/// The first descriptor that a service can be handed.
inline constexpr int firstListener = 3;

/// The descriptors that the manager hands over.
struct Handover {
  /// So many for the service, from firstListener on.
  int listeners = 0;
  /// The writing end of the status pipe; -1 when there is none.
  int status = -1;
};

/// Reads LISTEN_FDS, LISTEN_PID and VANTO_EXEC_STATUS, looks whether what they name is open, and makes the status pipe
/// close-on-exec. What is handed to another process by its number is nothing to us. After a failure in LISTEN_FDS the
/// status pipe is there all the same, to tell of it; one that is also the service's is not used.
[[nodiscard]] Failure readHandover(char* const* environment, Handover& handover) noexcept;

}  // namespace vanto
