// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "learning/RunRecord.h"

namespace vanto::learning {

/// The system calls that make descriptors of others, or receive them.
[[nodiscard]] std::span<const CallReader> descriptorCalls() noexcept;

}  // namespace vanto::learning
