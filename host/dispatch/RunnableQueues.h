// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "dispatch/Queue.h"

namespace vanto {

/// The owned queues that wait for a worker, first come first served. Any thread.
class RunnableQueues {
 public:
  /// True when the list was empty.
  bool append(dispatch_queue_s& queue) noexcept {
    const std::lock_guard lock(mutex_);
    queue.nextRunnable = nullptr;
    (last_ != nullptr ? last_->nextRunnable : first_) = &queue;
    last_ = &queue;
    return count_.fetch_add(1) == 0;
  }

  /// Null when there is none.
  [[nodiscard]] dispatch_queue_s* takeFirst() noexcept {
    if (isEmpty()) return nullptr;
    const std::lock_guard lock(mutex_);
    dispatch_queue_s* const queue = first_;
    if (queue == nullptr) return nullptr;
    first_ = queue->nextRunnable;
    if (first_ == nullptr) last_ = nullptr;
    count_.fetch_sub(1);
    return queue;
  }

  /// Sequentially consistent: who appends first and then finds nobody watching, and who announces that it watches and
  /// then finds nothing appended, cannot both be right.
  [[nodiscard]] bool isEmpty() const noexcept { return count_.load() == 0; }

 private:
  std::atomic<std::uint32_t> count_{0};
  std::mutex mutex_;
  dispatch_queue_s* first_ = nullptr;
  dispatch_queue_s* last_ = nullptr;
};

}  // namespace vanto
