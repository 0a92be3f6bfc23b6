// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "learning/RunRecord.h"

namespace vanto::learning {

/// The system calls that make processes, execute files, change directories and send signals.
[[nodiscard]] std::span<const CallReader> processCalls() noexcept;

}  // namespace vanto::learning
