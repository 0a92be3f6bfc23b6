// SPDX-License-Identifier: Apache-2.0
#include "ipc/SendQueue.h"

#include "ipc/Credit.h"
#include "value/limits.h"

namespace vanto {

namespace {

std::size_t charge(std::size_t size) noexcept {
  return chargeOf(size, 0, limits::ipcSendQueueBytes);
}

}  // namespace

OutgoingList::~OutgoingList() {
  while (first_ != nullptr) static_cast<void>(take(*first_));
}

void OutgoingList::append(std::unique_ptr<Outgoing> outgoing) noexcept {
  Outgoing* added = outgoing.release();
  added->next = nullptr;
  (last_ != nullptr ? last_->next : first_) = added;
  last_ = added;
}

std::unique_ptr<Outgoing> OutgoingList::take(Outgoing& outgoing) noexcept {
  Outgoing* before = nullptr;
  for (Outgoing* it = first_; it != &outgoing; it = it->next) before = it;
  (before != nullptr ? before->next : first_) = outgoing.next;
  if (last_ == &outgoing) last_ = before;
  return std::unique_ptr<Outgoing>(&outgoing);
}

void OutgoingList::appendAll(OutgoingList& other) noexcept {
  while (Outgoing* first = other.first()) append(other.take(*first));
}

bool SendQueue::hasRoomFor(std::size_t size) const noexcept {
  return messages_ < limits::ipcSendQueueMessages && messageBytes_ + charge(size) <= limits::ipcSendQueueBytes;
}

void SendQueue::add(std::unique_ptr<Outgoing> outgoing) noexcept {
  const bool isReply = outgoing->isReply();
  (isReply ? replies_ : messages_)++;
  (isReply ? replyBytes_ : messageBytes_) += isReply ? outgoing->size() : charge(outgoing->size());
  (isReply ? waitingReplies_ : waitingMessages_).append(std::move(outgoing));
}

Outgoing* SendQueue::firstOf(Source source, bool hasCredit) const noexcept {
  if (source == FromStarted) return started_.first();
  if (source == FromMessages) return hasCredit ? waitingMessages_.first() : nullptr;
  Outgoing* reply = waitingReplies_.first();
  // One that must wait for another large reply does not hold up the small ones.
  while (reply != nullptr && hasStartedReply_ && reply->isInChunks()) reply = reply->next;
  return reply;
}

Outgoing* SendQueue::next(bool hasCredit) noexcept {
  for (int i = 0; i < sourceCount; i++) {
    Outgoing* outgoing = firstOf(static_cast<Source>(turn_), hasCredit);
    if (outgoing != nullptr) return outgoing;
    turn_ = static_cast<std::uint8_t>((turn_ + 1) % sourceCount);
  }
  return nullptr;
}

OutgoingList& SendQueue::listOf(const Outgoing& outgoing) noexcept {
  if (outgoing.sent != 0) return started_;
  return outgoing.isReply() ? waitingReplies_ : waitingMessages_;
}

void SendQueue::forget(const Outgoing& outgoing) noexcept {
  const bool isReply = outgoing.isReply();
  (isReply ? replies_ : messages_)--;
  (isReply ? replyBytes_ : messageBytes_) -= isReply ? outgoing.size() : charge(outgoing.size());
}

std::unique_ptr<Outgoing> SendQueue::advance(Outgoing& outgoing, std::size_t bytes) noexcept {
  std::unique_ptr<Outgoing> owned = listOf(outgoing).take(outgoing);
  outgoing.sent += bytes;
  turn_ = static_cast<std::uint8_t>((turn_ + 1) % sourceCount);
  const bool isFinished = outgoing.sent == outgoing.size();
  if (outgoing.isReply() && outgoing.isInChunks()) hasStartedReply_ = !isFinished;
  if (isFinished) {
    forget(outgoing);
  } else {
    started_.append(std::move(owned));
  }
  return owned;
}

std::unique_ptr<Outgoing> SendQueue::takeUnsent(std::uint64_t id) noexcept {
  for (Outgoing* it = waitingMessages_.first(); it != nullptr; it = it->next) {
    if (it->id != id) continue;
    forget(*it);
    return waitingMessages_.take(*it);
  }
  return nullptr;
}

OutgoingList SendQueue::takeAll() noexcept {
  OutgoingList all = std::move(started_);
  all.appendAll(waitingReplies_);
  all.appendAll(waitingMessages_);
  messages_ = messageBytes_ = replies_ = replyBytes_ = 0;
  hasStartedReply_ = false;
  return all;
}

}  // namespace vanto
