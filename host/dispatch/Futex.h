// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

/// Waiting for a word of memory to change, without a lock. Between threads of one process only.
namespace vanto {

inline constexpr std::uint64_t waitForever = UINT64_MAX;

/// Sleeps while `word` is `expected`, for at most `nanoseconds`. May return early for no reason, so callers look again.
void waitWhileEqual(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
                    std::uint64_t nanoseconds = waitForever) noexcept;

/// Wakes one thread that sleeps on `word`, if there is one. Only the address is used: the word may be gone already.
void wakeOne(const std::atomic<std::uint32_t>& word) noexcept;

}  // namespace vanto
