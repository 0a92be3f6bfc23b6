// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "value/GrowingBytes.h"

namespace vanto {

/// Appends what is left to read of `descriptor` to `contents`. 0, or a number of errno: EFBIG when that would be more
/// than `maximumSize` bytes.
[[nodiscard]] int readContents(int descriptor, std::size_t maximumSize, GrowingBytes& contents) noexcept;

}  // namespace vanto
