// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include <sys/epoll.h>

#include "ipc/Activity.h"
#include "ipc/Connection.h"
#include "ipc/Message.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// When a send that failed for want of memory, or of room for descriptors under way, is tried again.
constexpr std::uint64_t retryNanoseconds = 10'000'000;

static_assert(EncodedObject::prefixBytes == frameHeaderBytes);

std::uint64_t deadlineOf(std::uint64_t timeout) noexcept {
  return timeout == VANTO_WAIT_FOREVER ? UINT64_MAX : deadlineAfter(timeout);
}

/// What a request tells of its deadline.
std::uint64_t deadlineToTell(std::uint64_t deadline) noexcept {
  if (deadline == UINT64_MAX) return 0;
  const std::uint64_t now = monotonicNow();
  return deadline > now ? deadline - now : 1;
}

}  // namespace

std::unique_ptr<Outgoing> Connection::takeSpare() noexcept {
  std::unique_ptr<Outgoing> spare(spare_.exchange(nullptr, std::memory_order_acquire));
  if (spare == nullptr) return std::make_unique<Outgoing>();
  spare->sent = 0;
  return spare;
}

void Connection::keepSpare(std::unique_ptr<Outgoing> outgoing) noexcept {
  // What is large, or holds descriptors, is not kept.
  if (outgoing->isInChunks() || !outgoing->body.descriptors().empty()) return;
  const std::unique_ptr<Outgoing> other(spare_.exchange(outgoing.release(), std::memory_order_acq_rel));
}

vanto_error_code_t Connection::send(vanto_object_t message, std::uint64_t timeout) noexcept {
  std::unique_ptr<Outgoing> outgoing = takeSpare();
  outgoing->kind = FrameKind::Message;
  vanto_error_code_t code = outgoing->body.encode(message);
  if (code != VANTO_ERROR_NONE) return code;
  Waiter waiter(Waiter::For::Room, timeout, timeout == 0 ? 0 : deadlineOf(timeout));
  Afterwards afterwards;
  Lock lock(mutex_);
  code = waitForRoomLocked(lock, *outgoing, waiter);
  if (code == VANTO_ERROR_NONE) {
    static_cast<void>(submitLocked(std::move(outgoing), afterwards, Retry::ByWorkers));
    if (isWriteBroken_) code = VANTO_ERROR_CLOSED;
  }
  settle(lock, Delivery::Later);
  return code;
}

Ref<vanto_object> Connection::call(vanto_object_t message, std::uint64_t timeout) noexcept {
  std::unique_ptr<Outgoing> outgoing = takeSpare();
  outgoing->kind = FrameKind::Request;
  vanto_error_code_t code = outgoing->body.encode(message);
  if (code != VANTO_ERROR_NONE) return errorObject(code);
  const std::uint64_t deadline = deadlineOf(timeout);
  outgoing->deadline = deadline;
  Waiter waiter(Waiter::For::Room, timeout, deadline);
  PendingCall pending{.waiter = &waiter};
  Afterwards afterwards;
  Lock lock(mutex_);
  code = waitForRoomLocked(lock, *outgoing, waiter);
  if (code == VANTO_ERROR_NONE) {
    waiter.continueFor(Waiter::For::Reply);
    pending.id = nextId_;
    pending_.add(pending);
    submitLocked(std::move(outgoing), afterwards, isReading_ || isWatched_ ? Retry::ByWorkers : Retry::ByCaller);
    code = awaitReplyLocked(lock, pending, waiter, afterwards);
  }
  settle(lock, Delivery::Later);
  return code == VANTO_ERROR_NONE ? std::move(waiter.result) : errorObject(code);
}

std::uint64_t Connection::callAsync(vanto_object_t message, std::uint64_t timeout, vanto_reply_function_t function,
                                    void* context) noexcept {
  std::unique_ptr<Outgoing> outgoing = takeSpare();
  outgoing->kind = FrameKind::Request;
  if (outgoing->body.encode(message) != VANTO_ERROR_NONE) return 0;
  const std::uint64_t deadline = deadlineOf(timeout);
  outgoing->deadline = deadline;
  Afterwards afterwards;
  Lock lock(mutex_);
  if (state_ != State::Open || isWriteBroken_ || !hasRoomLocked(*outgoing) || !watchLocked()) return 0;
  auto pending = std::make_unique<PendingCall>();
  pending->deadline = deadline;
  pending->function = function;
  pending->context = context;
  const std::uint64_t id = pending->id = nextId_;
  // The list of calls owns nothing; resolveLocked() takes the call over.
  pending_.add(*pending.release());
  setTimerLocked(deadline);
  submitLocked(std::move(outgoing), afterwards, Retry::ByWorkers);
  settle(lock, Delivery::Later);
  return id;
}

void Connection::cancel(std::uint64_t id) noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  PendingCall* call = pending_.find(id);
  // That of a waiting thread has no name that anybody could know.
  if (call == nullptr || call->waiter != nullptr) return;
  if (auto unsent = queue_.takeUnsent(id)) {
    afterwards.outgoing.append(std::move(unsent));
  } else {
    cancels_.push_back(id);
  }
  resolveLocked(*call, errorObject(VANTO_ERROR_CANCELLED));
  flushLocked(afterwards, Retry::ByWorkers);
  settle(lock, Delivery::Later);
}

bool Connection::hasRoomLocked(const Outgoing& outgoing) const noexcept {
  return queue_.hasRoomFor(outgoing.size()) && (outgoing.kind != FrameKind::Request || !pending_.isFull());
}

vanto_error_code_t Connection::waitForRoomLocked(Lock& lock, const Outgoing& outgoing, Waiter& waiter) noexcept {
  while (state_ == State::Open && !isWriteBroken_) {
    if (hasRoomLocked(outgoing)) return VANTO_ERROR_NONE;
    waiter.continueFor(Waiter::For::Room);
    if (waiter.timeout != 0) waitLocked(lock, waiter);
    if (!waiter.isDone) return state_ == State::Open ? VANTO_ERROR_FULL : VANTO_ERROR_CLOSED;
  }
  return VANTO_ERROR_CLOSED;
}

/// Sends a message, request or reply, now if it can be.
void Connection::submitLocked(std::unique_ptr<Outgoing> outgoing, Afterwards& afterwards, Retry retry) noexcept {
  if (!outgoing->isReply()) outgoing->id = nextId_++;
  if (sendAtOnceLocked(outgoing)) return;
  queue_.add(std::move(outgoing));
  flushLocked(afterwards, retry);
}

/// The usual case in short: nothing waits before it, and it is one frame. False when it has to be queued.
bool Connection::sendAtOnceLocked(std::unique_ptr<Outgoing>& outgoing) noexcept {
  const bool isReply = outgoing->isReply();
  if (!queue_.isEmpty() || !cancels_.empty() || isBlocked_ || isWriteBroken_ || outgoing->isInChunks() ||
      !outgoing->body.descriptors().empty() || (!isReply && !sendCredit_.canStart())) {
    return false;
  }
  FrameHeader header{.kind = outgoing->kind, .id = outgoing->id, .length = outgoing->size()};
  if (outgoing->kind == FrameKind::Request) header.deadline = deadlineToTell(outgoing->deadline);
  receiveCredit_.attachTo(header);
  if (sendFrameInPlace(socket_.get(), header, outgoing->body.prefix(), outgoing->size()) != SendResult::Sent) {
    return false;
  }
  receiveCredit_.attached();
  if (!isReply) sendCredit_.start(header);
  keepSpare(std::move(outgoing));
  return true;
}

void Connection::flushLocked(Afterwards& afterwards, Retry retry) noexcept {
  if (state_ != State::Open && state_ != State::Closing) return;
  bool hasSent = false;
  while (!isBlocked_ && !isWriteBroken_ && sendNextLocked(afterwards)) hasSent = true;
  if (retry == Retry::ByWorkers) waitForPeerLocked();
  const bool isSending = !queue_.isEmpty();
  if (isSending && (hasSent || !isSending_)) {
    stallDeadline_ = deadlineAfter(limits::ipcClosingNanoseconds);
    setTimerLocked(stallDeadline_);
  }
  if (isSending != isSending_) {
    isSending_ = isSending;
    if (isSending) {
      Activity::began();
    } else {
      afterwards.endedActivities++;
    }
  }
  noteProgressLocked();
  if (state_ == State::Closing && !isSending && (cancels_.empty() || isWriteBroken_)) {
    endLocked(VANTO_ERROR_CANCELLED, afterwards);
  }
}

/// Sends one frame. False when there is nothing to send, or it could not be sent.
bool Connection::sendNextLocked(Afterwards& afterwards) noexcept {
  SendResult result;
  if (!cancels_.empty()) {
    result = sendControlLocked({.kind = FrameKind::Cancel, .id = cancels_.back()});
    if (result == SendResult::Sent) cancels_.pop_back();
  } else if (Outgoing* outgoing = queue_.next(sendCredit_.canStart())) {
    result = sendPartLocked(*outgoing);
  } else if (receiveCredit_.isDue()) {
    result = sendControlLocked({.kind = FrameKind::Credit});
  } else {
    return false;
  }
  if (result == SendResult::Full) isBlocked_ = true;
  if (result == SendResult::Later) {
    isBlocked_ = true;
    retryDeadline_ = deadlineAfter(retryNanoseconds);
  }
  if (result == SendResult::Gone) {
    // What the peer sent before it went is still to be read; the end comes after that.
    isWriteBroken_ = true;
    afterwards.outgoing = queue_.takeAll();
  }
  return result == SendResult::Sent;
}

SendResult Connection::sendControlLocked(FrameHeader header) noexcept {
  receiveCredit_.attachTo(header);
  const SendResult result = sendFrame(socket_.get(), header, {}, {});
  if (result == SendResult::Sent) receiveCredit_.attached();
  return result;
}

SendResult Connection::sendPartLocked(Outgoing& outgoing) noexcept {
  const std::span<const std::uint8_t> body = outgoing.body.bytes();
  const bool isStart = outgoing.sent == 0;
  FrameHeader header{.kind = isStart ? outgoing.kind : FrameKind::Chunk, .id = outgoing.id};
  std::span<const int> descriptors;
  if (isStart) {
    descriptors = outgoing.body.descriptors();
    header.descriptors = static_cast<std::uint16_t>(descriptors.size());
    header.length = body.size();
    if (outgoing.kind == FrameKind::Request) header.deadline = deadlineToTell(outgoing.deadline);
  } else if (outgoing.isReply()) {
    header.flags = frameIsOfReply;
  }
  receiveCredit_.attachTo(header);
  const std::size_t size = std::min(body.size() - outgoing.sent, limits::ipcInlineBytes);
  static_assert(EncodedObject::prefixBytes == frameHeaderBytes);
  const SendResult result = isStart && descriptors.empty()
                                ? sendFrameInPlace(socket_.get(), header, outgoing.body.prefix(), size)
                                : sendFrame(socket_.get(), header, body.subspan(outgoing.sent, size), descriptors);
  if (result != SendResult::Sent) return result;
  receiveCredit_.attached();
  if (isStart && !outgoing.isReply()) sendCredit_.start(header);
  if (std::unique_ptr<Outgoing> finished = queue_.advance(outgoing, size)) keepSpare(std::move(finished));
  return result;
}

/// Has the workers send what is left, when the socket takes more or the peer has given credit.
void Connection::waitForPeerLocked() noexcept {
  if (isBlocked_) return waitForSocketLocked();
  if (!queue_.isEmpty()) static_cast<void>(watchLocked());
}

void Connection::waitForSocketLocked() noexcept {
  if (retryDeadline_ != UINT64_MAX) {
    setTimerLocked(retryDeadline_);
    static_cast<void>(watchLocked());
    return;
  }
  if (std::exchange(watchesRoom_, true)) return;
  if (isWatched_) {
    changeWatchingLocked();
  } else {
    static_cast<void>(watchLocked());
  }
}

void Connection::noteProgressLocked() noexcept {
  holdsMessages_ = queue_.replyBytes() > limits::ipcSendQueueBytes;
  waiters_.finishAll(Waiter::For::Room);
}

vanto_error_code_t Connection::answer(MessageObject& message, vanto_object_t object) noexcept {
  std::unique_ptr<Outgoing> outgoing = takeSpare();
  outgoing->kind = FrameKind::Reply;
  outgoing->id = message.id_;
  const vanto_error_code_t code = outgoing->body.encode(object);
  if (code != VANTO_ERROR_NONE) return code;
  Afterwards afterwards;
  Lock lock(mutex_);
  if (state_ != State::Open || isWriteBroken_) return VANTO_ERROR_CLOSED;
  forgetOpenLocked(message);
  // The reply takes the request's credit along, also where its user keeps it on.
  receiveCredit_.finish(message.charge_);
  // Who has cancelled would drop the reply.
  if (!message.isCancelled_.load(std::memory_order_relaxed)) {
    submitLocked(std::move(outgoing), afterwards, Retry::ByWorkers);
  }
  settle(lock, Delivery::Later);
  return VANTO_ERROR_NONE;
}

void Connection::finish(MessageObject& message) noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  forgetOpenLocked(message);
  if (!message.isAnswered()) receiveCredit_.finish(message.charge_);
  if (receiveCredit_.isDue()) flushLocked(afterwards, Retry::ByWorkers);
  settle(lock, Delivery::Later);
}

void Connection::giveCreditBack(std::uint64_t charge) noexcept {
  Afterwards afterwards;
  const Lock lock(mutex_);
  receiveCredit_.finish(charge);
  if (receiveCredit_.isDue()) flushLocked(afterwards, isWatched_ ? Retry::ByWorkers : Retry::ByCaller);
}

void Connection::forgetOpenLocked(MessageObject& message) noexcept {
  if (message.previousOpen_ == nullptr && firstOpen_ != &message) return;
  (message.previousOpen_ != nullptr ? message.previousOpen_->nextOpen_ : firstOpen_) = message.nextOpen_;
  if (message.nextOpen_ != nullptr) message.nextOpen_->previousOpen_ = message.previousOpen_;
  message.nextOpen_ = message.previousOpen_ = nullptr;
}

}  // namespace vanto
