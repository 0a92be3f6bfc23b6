// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <utility>

#include <sys/types.h>

namespace vanto::manager {

/// The processes of services that the manager has made. Main thread only.
class Children {
 public:
  /// For how long one that has ended is known, in nanoseconds. What it leaves behind comes to the manager at once;
  /// much later its number may be another process's.
  static constexpr std::uint64_t memory = 60'000'000'000;

  /// Called when one has ended and is erased.
  void observeEnds(std::function<void()> observer) { observer_ = std::move(observer); }

  void insert(pid_t pid) { running_.insert(pid); }
  /// It has ended, at `now` as CLOCK_MONOTONIC tells it in nanoseconds.
  void erase(pid_t pid, std::uint64_t now);

  [[nodiscard]] bool contains(pid_t pid) const { return running_.contains(pid); }
  /// Whether it has ended not long before `now`.
  [[nodiscard]] bool hasEnded(pid_t pid, std::uint64_t now) const;
  [[nodiscard]] std::size_t size() const noexcept { return running_.size(); }
  [[nodiscard]] bool empty() const noexcept { return running_.empty(); }

 private:
  struct Ended {
    pid_t pid;
    std::uint64_t time;
  };

  std::set<pid_t> running_;
  /// The oldest first.
  std::deque<Ended> ended_;
  std::function<void()> observer_;
};

}  // namespace vanto::manager
