// SPDX-License-Identifier: Apache-2.0
#include "ipc/PendingCalls.h"

#include <algorithm>

#include "value/limits.h"

namespace vanto {

bool PendingCalls::isFull() const noexcept {
  return count_ >= limits::ipcPendingReplies;
}

PendingCall* PendingCalls::find(std::uint64_t id) const noexcept {
  PendingCall* call = first_;
  while (call != nullptr && call->id < id) call = call->next;
  return call != nullptr && call->id == id ? call : nullptr;
}

void PendingCalls::add(PendingCall& call) noexcept {
  call.next = nullptr;
  call.previous = last_;
  (last_ != nullptr ? last_->next : first_) = &call;
  last_ = &call;
  count_++;
}

void PendingCalls::remove(PendingCall& call) noexcept {
  (call.previous != nullptr ? call.previous->next : first_) = call.next;
  (call.next != nullptr ? call.next->previous : last_) = call.previous;
  count_--;
}

std::uint64_t PendingCalls::earliestDeadline() const noexcept {
  std::uint64_t earliest = UINT64_MAX;
  for (const PendingCall* call = first_; call != nullptr; call = call->next) {
    earliest = std::min(earliest, call->deadline);
  }
  return earliest;
}

PendingCall* PendingCalls::expired(std::uint64_t now) const noexcept {
  PendingCall* call = first_;
  while (call != nullptr && call->deadline > now) call = call->next;
  return call;
}

}  // namespace vanto
