// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

namespace vanto {

/// Number of objects and blocks that are made and not yet ended, immortal ones not counted. Always 0 in a library that
/// was built without VANTO_COUNT_OBJECTS. For tests.
[[nodiscard]] std::int64_t liveObjectCount() noexcept;

#ifdef VANTO_COUNT_OBJECTS
extern std::atomic<std::int64_t> liveObjects;

inline void countLiveObject(std::int64_t change) noexcept {
  // Relaxed: a statistic that orders nothing.
  liveObjects.fetch_add(change, std::memory_order_relaxed);
}
#else
inline void countLiveObject(std::int64_t) noexcept {}
#endif

}  // namespace vanto
