// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "learning/RunRecord.h"

namespace vanto::learning {

/// The system calls that make, name and connect sockets.
[[nodiscard]] std::span<const CallReader> socketCalls() noexcept;

}  // namespace vanto::learning
