// SPDX-License-Identifier: Apache-2.0
#include "ipc/Message.h"

#include <new>
#include <utility>

#include "dispatch/Workers.h"
#include "ipc/Activity.h"
#include "ipc/Connection.h"

namespace vanto {

constinit const Class MessageObject::messageClass{"MessageObject",         &ipcObjectClass, 0,
                                                  &MessageObject::destroy, nullptr,         nullptr};

MessageObject::MessageObject(Connection& connection, const FrameHeader& header, Ref<vanto_object> body,
                             BodyRoom room) noexcept
    : vanto_object(messageClass, objectKind),
      body_(std::move(body)),
      room_(std::move(room)),
      connection_(Ref<Connection>::share(&connection)),
      id_(header.id),
      charge_(ReceiveCredit::chargeOf(header)),
      deadline_(header.deadline != 0 ? deadlineAfter(header.deadline) : UINT64_MAX),
      answer_(header.kind == FrameKind::Request ? Answer::Expected : Answer::None),
      reasons_(header.kind == FrameKind::Request ? undelivered | unanswered : undelivered) {
  Activity::began();
}

MessageObject::~MessageObject() {
  if (expectsReply()) static_cast<void>(reply(errorObject(VANTO_ERROR_NO_REPLY).get()));
  connection_->finish(*this);
  if (reasons_.load(std::memory_order_relaxed) != 0) Activity::ended();
}

Ref<MessageObject> MessageObject::create(Connection& connection, const FrameHeader& header, Ref<vanto_object> body,
                                         BodyRoom room) noexcept {
  void* memory = allocate(sizeof(MessageObject));
  return Ref<MessageObject>::adopt(new (memory) MessageObject(connection, header, std::move(body), std::move(room)));
}

void MessageObject::destroy(Object& self) noexcept {
  auto& message = static_cast<MessageObject&>(self);
  message.~MessageObject();
  deallocate(&message);
}

bool MessageObject::isCancelled() const noexcept {
  return isCancelled_.load(std::memory_order_acquire) || (deadline_ != UINT64_MAX && monotonicNow() >= deadline_);
}

vanto_error_code_t MessageObject::reply(vanto_object* object) noexcept {
  Answer expected = Answer::Expected;
  if (!answer_.compare_exchange_strong(expected, Answer::Given)) return VANTO_ERROR_INVALID;
  const vanto_error_code_t code = connection_->answer(*this, object);
  if (code == VANTO_ERROR_INVALID || code == VANTO_ERROR_TOO_LARGE) {
    // Nothing was sent, so another reply may be.
    answer_.store(Answer::Expected, std::memory_order_release);
  } else {
    drop(unanswered);
  }
  return code;
}

void MessageObject::wasDelivered() noexcept {
  // Where nobody has kept it, it is about to go, and leaves hand then.
  if (referenceCount() != 1) drop(undelivered);
}

void MessageObject::drop(std::uint8_t reason) noexcept {
  if (reasons_.fetch_and(static_cast<std::uint8_t>(~reason), std::memory_order_acq_rel) == reason) Activity::ended();
}

}  // namespace vanto
