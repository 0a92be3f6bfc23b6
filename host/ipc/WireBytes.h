// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "value/LittleEndian.h"

/// How things lie in messages; numbers are little-endian.
namespace vanto {

/// Everything in an encoded object begins at a multiple of this.
inline constexpr std::size_t wireAlignment = 8;

[[nodiscard]] constexpr std::size_t wirePadded(std::size_t size) noexcept {
  return (size + wireAlignment - 1) & ~(wireAlignment - 1);
}

}  // namespace vanto
