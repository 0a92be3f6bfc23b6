// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include "ipc/BodyRoom.h"
#include "ipc/Frame.h"
#include "ipc/IPCObject.h"

namespace vanto {

class Connection;

/// A message or request that arrived. Until it is answered or no longer kept it takes up its sender's window.
class MessageObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_MESSAGE;

  [[nodiscard]] static Ref<MessageObject> create(Connection& connection, const FrameHeader& header,
                                                 Ref<vanto_object> body, BodyRoom room) noexcept;

  [[nodiscard]] vanto_object* body() const noexcept { return body_.get(); }
  [[nodiscard]] bool expectsReply() const noexcept {
    return answer_.load(std::memory_order_acquire) == Answer::Expected;
  }
  [[nodiscard]] bool isAnswered() const noexcept { return answer_.load(std::memory_order_acquire) == Answer::Given; }
  [[nodiscard]] bool isCancelled() const noexcept;

  /// Answers it; the object says with what.
  [[nodiscard]] vanto_error_code_t reply(vanto_object* object) noexcept;

  /// The handler has returned: a message that is answered, or expects no reply, was dealt with.
  void wasDelivered() noexcept;

 private:
  friend class Connection;
  enum class Answer : std::uint8_t { None, Expected, Given };

  MessageObject(Connection& connection, const FrameHeader& header, Ref<vanto_object> body, BodyRoom room) noexcept;
  ~MessageObject();
  static void destroy(Object& self) noexcept;
  static const Class messageClass;

  // Why the process shall not end yet.
  static constexpr std::uint8_t undelivered = 1;
  static constexpr std::uint8_t unanswered = 2;
  void drop(std::uint8_t reason) noexcept;

  const Ref<vanto_object> body_;
  /// That of a body that came in chunks.
  const BodyRoom room_;
  /// Kept alive, not open.
  const Ref<Connection> connection_;
  const std::uint64_t id_;
  /// What is given back to the sender's window at the end.
  const std::uint64_t charge_;
  /// When the sender stops waiting; UINT64_MAX for never.
  const std::uint64_t deadline_;
  std::atomic<Answer> answer_;
  std::atomic<bool> isCancelled_{false};
  /// As long as there is one, Activity counts the message.
  std::atomic<std::uint8_t> reasons_;
  /// Requests that a cancellation may still reach; the connection's lock guards these two.
  MessageObject* nextOpen_ = nullptr;
  MessageObject* previousOpen_ = nullptr;
};

}  // namespace vanto
