// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

#include "vanto/IpcReference.h"

namespace vanto::tool {

/// What managers say without being asked, from the threads of the library to the one that prints. A thread that adds to
/// a full box waits, so the manager is held back, and no memory grows, when nobody reads what is printed.
class MessageInbox {
 public:
  static constexpr std::size_t capacity = 1024;

  struct Item {
    /// Which of the managers, as the caller numbers them.
    std::size_t sender = 0;
    /// What it said; an error object when its connection has ended.
    IpcReference content;
  };

  void add(Item item);
  /// The next item, once there is one; none when there is still none after `patience`.
  [[nodiscard]] std::optional<Item> take(std::chrono::milliseconds patience);
  [[nodiscard]] Item take();
  /// The next item if there is one now.
  [[nodiscard]] std::optional<Item> takeIfAny();

  /// Lets everybody who waits to add go on; what is added from now on is dropped.
  void close();

 private:
  Item takeFirst();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> items_;
  bool isClosed_ = false;
};

}  // namespace vanto::tool
