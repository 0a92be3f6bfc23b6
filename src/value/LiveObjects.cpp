// SPDX-License-Identifier: Apache-2.0
#include "value/LiveObjects.h"

namespace vanto {

#ifdef VANTO_COUNT_OBJECTS
constinit std::atomic<std::int64_t> liveObjects{0};

std::int64_t liveObjectCount() noexcept {
  return liveObjects.load(std::memory_order_relaxed);
}
#else
std::int64_t liveObjectCount() noexcept {
  return 0;
}
#endif

}  // namespace vanto
