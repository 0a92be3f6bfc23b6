// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace vanto {

/// How many threads this process has; 0, with errno, when that cannot be told.
[[nodiscard]] std::size_t threadCount() noexcept;

}  // namespace vanto
