// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "learning/RunRecord.h"

namespace vanto::learning {

/// The system calls about files and directories that profiles are about.
[[nodiscard]] std::span<const CallReader> fileCalls() noexcept;

}  // namespace vanto::learning
