// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Futex.h"

#include <ctime>

#include <linux/futex.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vanto {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t) &&
              std::atomic<std::uint32_t>::is_always_lock_free);

void waitWhileEqual(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
                    std::uint64_t nanoseconds) noexcept {
  constexpr std::uint64_t second = 1'000'000'000;
#ifdef __SANITIZE_THREAD__
  // A signal ends only a wait with a limit, whatever the flags of its handler.
  if (nanoseconds == waitForever) nanoseconds = 3600 * second;
#endif
  const timespec limit{static_cast<time_t>(nanoseconds / second), static_cast<long>(nanoseconds % second)};
  syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, nanoseconds == waitForever ? nullptr : &limit, nullptr, 0);
#ifdef __SANITIZE_THREAD__
  // The thread sanitizer puts a handler off until the next call that it knows.
  poll(nullptr, 0, 0);
#endif
}

void wakeOne(const std::atomic<std::uint32_t>& word) noexcept {
  syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace vanto
