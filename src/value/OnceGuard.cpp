// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <climits>
#include <cstdint>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <VantoService/dispatch.h>

#include "value/Assertion.h"

// A guard is 0 before its function runs and -1 when it is done. While the function runs, the guard is the id of the
// thread that runs it, and has the bit `hasWaiters` in addition once another thread sleeps on it. Ids are positive and
// lie below that bit, so both fit in the half of the guard that the kernel compares when a thread goes to sleep; that
// half of a done guard is different from any of them.

namespace {

constexpr dispatch_once_t notRun = 0;
constexpr dispatch_once_t done = -1;
constexpr dispatch_once_t hasWaiters = dispatch_once_t{1} << 30;

std::uint32_t* lowHalf(dispatch_once_t* guard) noexcept {
  return reinterpret_cast<std::uint32_t*>(guard) + (std::endian::native == std::endian::little ? 0 : 1);
}

/// Sleeps until the guard is woken, unless it has changed since it was read as `seen`. May wake for nothing.
void sleep(dispatch_once_t* guard, dispatch_once_t seen) noexcept {
  syscall(SYS_futex, lowHalf(guard), FUTEX_WAIT_PRIVATE, static_cast<std::uint32_t>(seen), nullptr, nullptr, 0);
}

void wakeAll(dispatch_once_t* guard) noexcept {
  syscall(SYS_futex, lowHalf(guard), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

/// Sleeps until another thread, which the guard named when it was read as `seen`, has finished.
void waitUntilDone(dispatch_once_t* guard, dispatch_once_t seen) noexcept {
  while (seen != done) {
    const dispatch_once_t announced = seen | hasWaiters;
    const bool isAnnounced = seen == announced || __atomic_compare_exchange_n(guard, &seen, announced, false,
                                                                              __ATOMIC_ACQUIRE, __ATOMIC_ACQUIRE);
    if (isAnnounced) {
      sleep(guard, announced);
      seen = __atomic_load_n(guard, __ATOMIC_ACQUIRE);
    }
  }
}

}  // namespace

void dispatch_once(dispatch_once_t* guard, void* context, void (*function)(void* context)) noexcept {
  if (dispatch_once_done(guard)) return;
  const dispatch_once_t self = gettid();
  dispatch_once_t seen = notRun;
  if (!__atomic_compare_exchange_n(guard, &seen, self, false, __ATOMIC_ACQUIRE, __ATOMIC_ACQUIRE)) {
    VANTO_ASSERT((seen & ~hasWaiters) != self);
    waitUntilDone(guard, seen);
    return;
  }
  function(context);
  // Release: whoever sees the guard done sees all that the function did.
  if ((__atomic_exchange_n(guard, done, __ATOMIC_ACQ_REL) & hasWaiters) != 0) wakeAll(guard);
}
