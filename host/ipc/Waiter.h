// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include "dispatch/Futex.h"
#include "ipc/IPCObject.h"

namespace vanto {

/// A thread that waits for something on a connection: a reply, or room to send. Lies on its stack; the connection's
/// lock guards all but `wakes`.
struct Waiter {
  enum class For : std::uint8_t { Reply, Room };

  Waiter(For what, std::uint64_t longest, std::uint64_t end) noexcept
      : waitsFor(what), timeout(longest), deadline(end) {}

  /// Waits for something else next, until the same time.
  void continueFor(For what) noexcept {
    waitsFor = what;
    isDone = isReader = false;
  }

  For waitsFor;
  /// How long it waits, and until when; UINT64_MAX for ever.
  const std::uint64_t timeout;
  const std::uint64_t deadline;
  bool isDone = false;
  /// This thread reads the socket, for itself and for all others.
  bool isReader = false;
  /// It has waited already, so that less than `timeout` is left.
  bool hasWaited = false;
  Ref<vanto_object> result;
  /// Counts wake-ups.
  std::atomic<std::uint32_t> wakes{0};
  Waiter* next = nullptr;
  Waiter* previous = nullptr;

  void wake() noexcept {
    wakes.fetch_add(1, std::memory_order_release);
    wakeOne(wakes);
  }
  void finish() noexcept {
    isDone = true;
    // Who reads looks for itself.
    if (!isReader) wake();
  }
};

/// The waiting threads of a connection, in the order in which they came.
class Waiters {
 public:
  [[nodiscard]] Waiter* first() const noexcept { return first_; }

  void add(Waiter& waiter) noexcept {
    waiter.next = nullptr;
    waiter.previous = last_;
    (last_ != nullptr ? last_->next : first_) = &waiter;
    last_ = &waiter;
  }
  void remove(Waiter& waiter) noexcept {
    (waiter.previous != nullptr ? waiter.previous->next : first_) = waiter.next;
    (waiter.next != nullptr ? waiter.next->previous : last_) = waiter.previous;
  }
  void finishAll(Waiter::For what) noexcept {
    for (Waiter* waiter = first_; waiter != nullptr; waiter = waiter->next) {
      if (waiter->waitsFor == what) waiter->finish();
    }
  }

 private:
  Waiter* first_ = nullptr;
  Waiter* last_ = nullptr;
};

}  // namespace vanto
