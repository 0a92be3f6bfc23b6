// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>

namespace vanto::testing {

/// Something that one thread waits for and another brings about, counted: each wait() takes one raise().
class Signal {
 public:
  void raise() {
    const std::lock_guard lock(mutex_);
    ++raised_;
    // Inside the lock, since the one who waits may end this object at once.
    condition_.notify_one();
  }

  void wait() {
    std::unique_lock lock(mutex_);
    condition_.wait(lock, [this] { return raised_ != 0; });
    --raised_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  int raised_ = 0;
};

}  // namespace vanto::testing
