// SPDX-License-Identifier: Apache-2.0
#include "process/PendingPeer.h"

#include <mutex>

namespace vanto {

namespace {

constinit std::mutex mutex;
/// All there are: one for each worker that accepts, so few. What follows, and what is in them, belongs to the mutex.
constinit PendingPeer* firstPending = nullptr;

constinit thread_local PendingPeer* judged = nullptr;

}  // namespace

PendingPeer::PendingPeer(pid_t pid, const Fd& process) noexcept : pid_(pid), process_(process), outer_(judged) {
  judged = this;
  const std::lock_guard lock(mutex);
  next_ = firstPending;
  firstPending = this;
}

PendingPeer::~PendingPeer() {
  PendingPeer** inner = &judged;
  while (*inner != this) inner = &(*inner)->outer_;
  *inner = outer_;
  const std::lock_guard lock(mutex);
  PendingPeer** link = &firstPending;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

PendingPeer* PendingPeer::ofThisThread() noexcept {
  return judged;
}

bool PendingPeer::wasCodeAsked() const noexcept {
  const std::lock_guard lock(mutex);
  return wasCodeAsked_;
}

void PendingPeer::noteCodeAsked(pid_t pid) noexcept {
  const std::lock_guard lock(mutex);
  for (PendingPeer* peer = firstPending; peer != nullptr; peer = peer->next_) {
    if (peer->pid_ == pid) peer->wasCodeAsked_ = true;
  }
}

}  // namespace vanto
