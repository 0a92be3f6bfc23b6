// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "ipc/Codec.h"
#include "ipc/Frame.h"
#include "value/limits.h"

namespace vanto {

/// A message, request or reply that is to be sent.
struct Outgoing {
  EncodedObject body;
  FrameKind kind = FrameKind::Message;
  std::uint64_t id = 0;
  /// When the sender of a request stops waiting; UINT64_MAX for never.
  std::uint64_t deadline = UINT64_MAX;
  /// Bytes of the body that were sent.
  std::size_t sent = 0;
  Outgoing* next = nullptr;

  [[nodiscard]] std::size_t size() const noexcept { return body.bytes().size(); }
  [[nodiscard]] bool isReply() const noexcept { return kind == FrameKind::Reply; }
  [[nodiscard]] bool isInChunks() const noexcept { return size() > limits::ipcInlineBytes; }
};

/// Owns what it holds, in order of arrival.
class OutgoingList {
 public:
  OutgoingList() noexcept = default;
  OutgoingList(OutgoingList&& other) noexcept
      : first_(std::exchange(other.first_, nullptr)), last_(std::exchange(other.last_, nullptr)) {}
  OutgoingList& operator=(OutgoingList&& other) noexcept {
    std::swap(first_, other.first_);
    std::swap(last_, other.last_);
    return *this;
  }
  ~OutgoingList();

  [[nodiscard]] Outgoing* first() const noexcept { return first_; }
  void append(std::unique_ptr<Outgoing> outgoing) noexcept;
  /// Takes out `outgoing`, which is in the list.
  [[nodiscard]] std::unique_ptr<Outgoing> take(Outgoing& outgoing) noexcept;
  void appendAll(OutgoingList& other) noexcept;

 private:
  Outgoing* first_ = nullptr;
  Outgoing* last_ = nullptr;
};

/// What waits to be sent on a connection. Messages and requests begin in the order of their ids, replies in any order.
/// What is sent in chunks takes turns with the rest; of replies one at a time is sent in chunks. Not thread-safe.
class SendQueue {
 public:
  /// Whether a message or request of `size` bytes may be added. Replies always may.
  [[nodiscard]] bool hasRoomFor(std::size_t size) const noexcept;
  void add(std::unique_ptr<Outgoing> outgoing) noexcept;

  /// What the next frame shall be of; null when there is nothing. Without credit no message or request begins.
  [[nodiscard]] Outgoing* next(bool hasCredit) noexcept;
  /// A frame with `bytes` bytes of the body of `outgoing` was sent. Gives it back when that was its last.
  [[nodiscard]] std::unique_ptr<Outgoing> advance(Outgoing& outgoing, std::size_t bytes) noexcept;

  /// Takes out the request called `id` if nothing of it was sent; null otherwise.
  [[nodiscard]] std::unique_ptr<Outgoing> takeUnsent(std::uint64_t id) noexcept;
  [[nodiscard]] OutgoingList takeAll() noexcept;

  [[nodiscard]] bool isEmpty() const noexcept { return messages_ == 0 && replies_ == 0; }
  [[nodiscard]] std::size_t replyBytes() const noexcept { return replyBytes_; }

 private:
  enum Source : std::uint8_t { FromReplies, FromMessages, FromStarted, sourceCount };

  [[nodiscard]] Outgoing* firstOf(Source source, bool hasCredit) const noexcept;
  [[nodiscard]] OutgoingList& listOf(const Outgoing& outgoing) noexcept;
  void forget(const Outgoing& outgoing) noexcept;

  OutgoingList waitingReplies_;
  OutgoingList waitingMessages_;
  /// Those of which some chunks were sent.
  OutgoingList started_;
  std::size_t messages_ = 0;
  std::size_t messageBytes_ = 0;
  std::size_t replies_ = 0;
  std::size_t replyBytes_ = 0;
  /// Whose turn it is.
  std::uint8_t turn_ = FromReplies;
  bool hasStartedReply_ = false;
};

}  // namespace vanto
