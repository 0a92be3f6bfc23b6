// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "value/LittleEndian.h"

namespace vanto {

/// The bytes of a binary property list while they are read, and the first mistake in them. Every step takes the place
/// where it begins, which lies in the bytes or at their end, and gives the place behind what it read, or null after a
/// mistake.
struct PropertyListBinarySource {
  using Byte = std::uint8_t;

  const Byte* begin;
  const Byte* end;
  /// Bytes that each count takes, 1 to 4.
  std::size_t width = 1;
  /// The bits that are set in any of the counts so far.
  std::uint32_t bitsOfCounts = 0;
  /// The place of the mistake, and what was expected there.
  const Byte* mistake = nullptr;
  const char* message = nullptr;

  [[nodiscard]] std::size_t remaining(const Byte* at) const noexcept { return static_cast<std::size_t>(end - at); }

  const Byte* fail(const Byte* at, const char* expected) noexcept {
    mistake = at;
    message = expected;
    return nullptr;
  }
  /// Fails because the bytes end too early.
  const Byte* failAtEnd() noexcept { return fail(end, "expected more bytes"); }

  /// Reads a count: a number of things or bytes, or the index of a string.
  [[nodiscard]] const Byte* readCount(const Byte* at, std::uint32_t& count) noexcept {
    if (remaining(at) >= sizeof count) [[likely]] {
      count = load32(at) & (0xFFFFFFFFU >> (32 - 8 * width));
    } else {
      if (remaining(at) < width) return failAtEnd();
      count = 0;
      for (std::size_t index = 0; index < width; ++index) count |= std::uint32_t{at[index]} << (8 * index);
    }
    bitsOfCounts |= count;
    return at + width;
  }
};

}  // namespace vanto
