// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <ctime>

#include <poll.h>
#include <sys/socket.h>

#include "ipc/Connection.h"

namespace vanto {

namespace {

void sleepUntil(std::unique_lock<std::mutex>& lock, const Waiter& waiter) noexcept {
  const std::uint32_t wakes = waiter.wakes.load(std::memory_order_acquire);
  lock.unlock();
  waitWhileEqual(waiter.wakes, wakes, remainingUntil(waiter.deadline));
  lock.lock();
}

}  // namespace

/// Waits until the waiter is done, the connection has ended, or the deadline has passed.
void Connection::waitLocked(Lock& lock, Waiter& waiter) noexcept {
  waiters_.add(waiter);
  bool isInTime = true;
  while (!waiter.isDone && state_ != State::Ended && isInTime) {
    if (!isReading_) {
      isReading_ = waiter.isReader = true;
      muteLocked();
    }
    if (waiter.isReader) {
      isInTime = readUntil(lock, waiter);
    } else {
      sleepUntil(lock, waiter);
      isInTime = remainingUntil(waiter.deadline) != 0;
    }
    waiter.hasWaited = true;
  }
  waiters_.remove(waiter);
  if (waiter.isReader) endReadingLocked(lock);
}

vanto_error_code_t Connection::awaitReplyLocked(Lock& lock, PendingCall& call, Waiter& waiter,
                                                Afterwards& afterwards) noexcept {
  waitLocked(lock, waiter);
  if (waiter.isDone) return VANTO_ERROR_NONE;
  if (auto unsent = queue_.takeUnsent(call.id)) afterwards.outgoing.append(std::move(unsent));
  pending_.remove(call);
  waiters_.finishAll(Waiter::For::Room);
  return VANTO_ERROR_TIMED_OUT;
}

Ref<vanto_object> Connection::awaitEarlyReply(const FrameHeader& request, ReceivedFrame* first,
                                              std::uint64_t timeout) noexcept {
  Waiter waiter(Waiter::For::Reply, timeout, timeout == VANTO_WAIT_FOREVER ? UINT64_MAX : deadlineAfter(timeout));
  PendingCall call{.id = request.id, .waiter = &waiter};
  Afterwards afterwards;
  Lock lock(mutex_);
  nextId_ = request.id + 1;
  sendCredit_.start(request);
  pending_.add(call);
  if (first != nullptr) {
    isReading_ = waiter.isReader = true;
    lock.unlock();
    if (!take(*first)) endBecause(VANTO_ERROR_PROTOCOL);
    lock.lock();
  }
  const vanto_error_code_t code = awaitReplyLocked(lock, call, waiter, afterwards);
  settle(lock, Delivery::Later);
  return code == VANTO_ERROR_NONE ? std::move(waiter.result) : errorObject(code);
}

/// Reads one frame. False when the deadline has passed.
bool Connection::readUntil(Lock& lock, const Waiter& waiter) noexcept {
  // The socket's own timeout is right for the first wait only, and does for most.
  const bool polls = isBlocked_ || waiter.timeout == 0 || (waiter.hasWaited && waiter.deadline != UINT64_MAX);
  if (polls) pollUntil(lock, waiter.deadline);
  lock.unlock();
  if (!polls) setReceiveTimeout(waiter.timeout);
  const Step step = readFrame(polls ? Waiting::Never : Waiting::SocketTimeout);
  lock.lock();
  if (beginDeliveryLocked()) {
    lock.unlock();
    // This thread has something better to do than to run handlers.
    deliver(Delivery::Later);
    lock.lock();
  }
  // One frame may come late, as it may be what is waited for; a peer that has more of them does not stretch the time.
  return (step == Step::Frame && !waiter.hasWaited) || remainingUntil(waiter.deadline) != 0;
}

/// Waits until there is something to read, or, where something waits to be sent, until it can be; then sends it.
void Connection::pollUntil(Lock& lock, std::uint64_t deadline) noexcept {
  const bool sends = isBlocked_;
  pollfd set{socket_.get(), static_cast<short>(sends && retryDeadline_ == UINT64_MAX ? POLLIN | POLLOUT : POLLIN), 0};
  const std::uint64_t remaining = remainingUntil(sends ? std::min(deadline, retryDeadline_) : deadline);
  lock.unlock();
  const timespec time{static_cast<time_t>(remaining / 1'000'000'000), static_cast<long>(remaining % 1'000'000'000)};
  ppoll(&set, 1, remaining != UINT64_MAX ? &time : nullptr, nullptr);
  lock.lock();
  if (!sends || state_ == State::Ended) return;
  if ((set.revents & POLLOUT) == 0 && monotonicNow() < retryDeadline_) return;
  retryDeadline_ = UINT64_MAX;
  isBlocked_ = false;
  {
    Afterwards afterwards;
    flushLocked(afterwards, isWatched_ ? Retry::ByWorkers : Retry::ByCaller);
    lock.unlock();
  }
  lock.lock();
}

void Connection::setReceiveTimeout(std::uint64_t timeout) noexcept {
  if (timeout == VANTO_WAIT_FOREVER) timeout = 0;
  if (timeout == receiveTimeout_) return;
  receiveTimeout_ = timeout;
  vanto::setReceiveTimeout(socket_.get(), timeout);
}

}  // namespace vanto
