// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "learning/RunRecord.h"

namespace vanto::learning {

/// The system calls that no profile allows, or not in each form; and ioctl, which is one of the latter.
[[nodiscard]] std::span<const CallReader> refusedCalls();

}  // namespace vanto::learning
