// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <VantoService/Ref.h>

#include "ipc/IPCObject.h"

namespace vanto {

struct Waiter;

/// A request whose reply is outstanding. That of a waiting thread lies on its stack, the others are allocated.
struct PendingCall {
  std::uint64_t id = 0;
  /// When it is given up, for a call that nobody waits for; UINT64_MAX for never.
  std::uint64_t deadline = UINT64_MAX;
  /// Who waits, and is given the result; null when `function` is.
  Waiter* waiter = nullptr;
  vanto_reply_function_t function = nullptr;
  void* context = nullptr;
  PendingCall* next = nullptr;
  PendingCall* previous = nullptr;
};

/// The outstanding calls of one connection in the order of their ids. Owns none of them. Not thread-safe.
class PendingCalls {
 public:
  [[nodiscard]] bool isFull() const noexcept;
  [[nodiscard]] PendingCall* first() const noexcept { return first_; }
  /// The call named `id`, or null. Quick when replies come in about the order of the calls.
  [[nodiscard]] PendingCall* find(std::uint64_t id) const noexcept;

  /// Adds a call whose id is larger than all others'.
  void add(PendingCall& call) noexcept;
  void remove(PendingCall& call) noexcept;

  /// The earliest deadline; UINT64_MAX when there is none.
  [[nodiscard]] std::uint64_t earliestDeadline() const noexcept;
  /// Some call whose deadline is not after `now`, or null.
  [[nodiscard]] PendingCall* expired(std::uint64_t now) const noexcept;

 private:
  PendingCall* first_ = nullptr;
  PendingCall* last_ = nullptr;
  std::size_t count_ = 0;
};

}  // namespace vanto
