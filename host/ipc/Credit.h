// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ipc/Frame.h"
#include "value/limits.h"

/// How much may be under way in one direction of a connection. A message or request may begin while fewer messages and
/// fewer bytes than the window are outstanding, so one of any size always gets through in the end. Not thread-safe.
namespace vanto {

/// What a message of `size` bytes with `descriptors` descriptors counts in a window of `window` bytes: its size, and
/// for each descriptor so much that limits::ipcDescriptorsInHand of them fill the window; but no more than half the
/// window, so that small ones can pass a large one.
[[nodiscard]] constexpr std::uint64_t chargeOf(std::uint64_t size, std::size_t descriptors,
                                               std::uint64_t window) noexcept {
  const std::uint64_t share = (window + limits::ipcDescriptorsInHand - 1) / limits::ipcDescriptorsInHand;
  return std::min(size + descriptors * share, (window + 1) / 2);
}
// Else the most that one message may carry would count as less than it is.
static_assert(limits::ipcDescriptors <= limits::ipcDescriptorsInHand / 2);

/// The sender's view.
class SendCredit {
 public:
  void setWindow(std::uint32_t messages, std::uint32_t bytes) noexcept {
    windowMessages_ = messages;
    windowBytes_ = bytes;
  }

  [[nodiscard]] bool canStart() const noexcept { return messages_ < windowMessages_ && bytes_ < windowBytes_; }

  /// Counts a message that begins with `header`.
  void start(const FrameHeader& header) noexcept {
    messages_++;
    bytes_ += chargeOf(header.length, header.descriptors, windowBytes_);
  }

  /// Takes what a frame gives back. False when that is more than was outstanding.
  [[nodiscard]] bool giveBack(const FrameHeader& header) noexcept {
    if (header.creditMessages > messages_ || header.creditBytes > bytes_) return false;
    messages_ -= header.creditMessages;
    bytes_ -= header.creditBytes;
    return true;
  }

 private:
  std::uint32_t windowMessages_ = 0;
  std::uint32_t windowBytes_ = 0;
  std::uint32_t messages_ = 0;
  std::uint64_t bytes_ = 0;
};

/// The receiver's view.
class ReceiveCredit {
 public:
  static constexpr std::uint32_t windowMessages = limits::ipcSendQueueMessages;
  static constexpr std::uint32_t windowBytes = limits::ipcSendQueueBytes;

  /// What a message that begins with `header` takes up of the window.
  [[nodiscard]] static constexpr std::uint64_t chargeOf(const FrameHeader& header) noexcept {
    return vanto::chargeOf(header.length, header.descriptors, windowBytes);
  }

  /// Counts a message that begins with `header`. False when its sender had no credit for it.
  [[nodiscard]] bool start(const FrameHeader& header) noexcept {
    if (messages_ >= windowMessages || bytes_ >= windowBytes) return false;
    messages_++;
    bytes_ += chargeOf(header);
    return true;
  }

  /// A message that took up `charge` has been dealt with.
  void finish(std::uint64_t charge) noexcept {
    owedMessages_++;
    owedBytes_ += charge;
  }

  /// True when so much is owed that the sender may be waiting for it: it can wait only while a whole window is
  /// outstanding, and then what is not owed is still being dealt with.
  [[nodiscard]] bool isDue() const noexcept {
    return owedMessages_ >= windowMessages / 2 || owedBytes_ >= windowBytes / 2;
  }

  /// Puts what is owed on a frame.
  void attachTo(FrameHeader& header) const noexcept {
    header.creditMessages = owedMessages_;
    header.creditBytes = static_cast<std::uint32_t>(owedBytes_);
  }

  /// That frame was sent.
  void attached() noexcept {
    messages_ -= owedMessages_;
    bytes_ -= owedBytes_;
    owedMessages_ = 0;
    owedBytes_ = 0;
  }

 private:
  /// Received and not given back, what is owed included.
  std::uint32_t messages_ = 0;
  std::uint32_t owedMessages_ = 0;
  std::uint64_t bytes_ = 0;
  std::uint64_t owedBytes_ = 0;
};

}  // namespace vanto
