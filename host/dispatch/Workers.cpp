// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Workers.h"

#include <ctime>

#include "dispatch/Pool.h"

namespace vanto {

bool startWatching(Watched& watched, int descriptor, std::uint32_t events) noexcept {
  return Pool::shared().watch(watched, descriptor, events);
}

void changeWatching(Watched& watched, int descriptor, std::uint32_t events) noexcept {
  Pool::shared().change(watched, descriptor, events);
}

void stopWatching(Watched& watched, int descriptor) noexcept {
  Pool::shared().unwatch(watched, descriptor);
}

void setTimer(Watched& watched, std::uint64_t deadline) noexcept {
  Pool::shared().setTimer(watched, deadline);
}

std::uint64_t monotonicNow() noexcept {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t deadlineAfter(std::uint64_t duration) noexcept {
  const std::uint64_t now = monotonicNow();
  return duration < UINT64_MAX - now ? now + duration : UINT64_MAX;
}

std::uint64_t remainingUntil(std::uint64_t deadline) noexcept {
  if (deadline == UINT64_MAX) return UINT64_MAX;
  const std::uint64_t now = monotonicNow();
  return deadline > now ? deadline - now : 0;
}

}  // namespace vanto
