// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include <VantoService/Object.h>
#include <VantoService/dispatch.h>

/// The threads that serve queues and descriptors: a small pool around one epoll set. A worker that finds a descriptor
/// ready reads it and runs what it read itself; another worker meanwhile waits for the next one, or looks once a
/// millisecond whether the first one is stuck. No thread exists before the first descriptor is watched or the first
/// work item submitted; nor ever in a program that wants none but its main thread
/// (Pool::useOnlyMainThread). A child made by fork() has no workers: it may only execute another program.
namespace vanto {

/// Something with a descriptor that the workers watch.
class Watched : public Object {
 public:
  /// The descriptor is ready (EPOLLIN, EPOLLOUT, …: a hint, sometimes spurious), or, with 0, the timer of this object
  /// expired. Runs on a worker, on several at once if it becomes ready again meanwhile, inside a
  /// temporary-object scope.
  void (*const ready)(Watched& self, std::uint32_t events) noexcept;

 protected:
  Watched(const Class& runtimeClass, void (*readyFunction)(Watched&, std::uint32_t) noexcept) noexcept
      : Object(runtimeClass), ready(readyFunction) {}
  ~Watched() = default;

 private:
  friend class WatchTable;
  /// Names the place in the table of watched objects, 0 for none.
  std::atomic<std::uint64_t> watch_{0};
};

/// Starts watching `descriptor` for `events`, and holds a reference to `watched` until stopWatching(). With EPOLLET
/// among them each edge is told once, and what is ready already counts as one; without it, a worker that is free is
/// told as long as the descriptor is ready. An object watches one descriptor at a time. False, with errno, when the
/// kernel refuses; EAGAIN also when there is no worker and none can be made.
[[nodiscard]] bool startWatching(Watched& watched, int descriptor, std::uint32_t events) noexcept;

/// Watches for other events from now on; what is ready already is told once more. Not at the same time as
/// stopWatching(). Does nothing for an object that is not watched.
void changeWatching(Watched& watched, int descriptor, std::uint32_t events) noexcept;

/// Stops watching and stops its timer; to be called before the descriptor is closed. A call of `ready` that is under
/// way on another thread goes on, and the object lives until it returns; none begins any more. Does nothing for an
/// object that is not watched.
void stopWatching(Watched& watched, int descriptor) noexcept;

/// Sets the one timer of a watched object: `ready(watched, 0)` is called once when CLOCK_MONOTONIC reaches `deadline`
/// (nanoseconds; UINT64_MAX takes the timer away). Cheap: costs a system call only when no earlier wake-up is due.
/// Does nothing for an object that is not watched.
void setTimer(Watched& watched, std::uint64_t deadline) noexcept;

/// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] std::uint64_t monotonicNow() noexcept;

/// `monotonicNow()` plus a duration, without overflow.
[[nodiscard]] std::uint64_t deadlineAfter(std::uint64_t duration) noexcept;

/// Nanoseconds until a deadline, 0 when it has passed, UINT64_MAX for UINT64_MAX.
[[nodiscard]] std::uint64_t remainingUntil(std::uint64_t deadline) noexcept;

/// Runs `function(context)` as a work item of `queue`: at once on this thread when the queue is idle and this thread is
/// not already inside a work item of some queue, else like dispatch_queue_submit().
void runOnQueue(dispatch_queue_t queue, void* context, void (*function)(void* context)) noexcept;

}  // namespace vanto
