// SPDX-License-Identifier: Apache-2.0
#include "process/PendingPeer.h"

#include <mutex>

namespace vanto {

namespace {

constinit std::mutex mutex;
/// All there are: one for each worker that accepts, so few. What follows, and what is in them, belongs to the mutex.
constinit PendingPeer* firstPending = nullptr;

}  // namespace

PendingPeer::PendingPeer(pid_t pid) noexcept : pid_(pid) {
  const std::lock_guard lock(mutex);
  next_ = firstPending;
  firstPending = this;
}

PendingPeer::~PendingPeer() {
  const std::lock_guard lock(mutex);
  PendingPeer** link = &firstPending;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
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
