// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace vanto::manager {

/// A line that a service wrote.
struct LogLine {
  /// CLOCK_REALTIME in nanoseconds.
  std::uint64_t time = 0;
  pid_t pid = 0;
  /// As it came, without its end.
  std::string text;
};

/// The last lines of one job, of all its processes.
class LogRing {
 public:
  /// Called with each line that is added, and with null when there will be none any more.
  using Follower = std::function<void(const LogLine*)>;

  /// Adds a line, of which limits::managerLogLineBytes are kept, and drops the oldest ones so that no more than
  /// limits::managerLogBytes are held.
  void add(LogLine line);
  void follow(Follower follower) { follower_ = std::move(follower); }
  /// The job is gone, and its last process has ended.
  void end() const;

  [[nodiscard]] const std::deque<LogLine>& lines() const noexcept { return lines_; }
  /// The last line, or null.
  [[nodiscard]] const LogLine* last() const noexcept { return lines_.empty() ? nullptr : &lines_.back(); }
  /// The last lines, three at most, of the process that wrote the last one, fit to stand in one line and with " | "
  /// between; of them as many as fit in `room` bytes, and the last one in any case. Empty when there is none.
  [[nodiscard]] std::string ending(std::size_t room) const;

 private:
  std::deque<LogLine> lines_;
  std::size_t bytes_ = 0;
  Follower follower_;
};

/// Makes lines of what one process writes piece by piece.
class LogAssembly {
 public:
  /// Adds each line that ends in `piece` to the ring. What is beyond the longest line is dropped.
  void add(LogRing& ring, pid_t pid, std::string_view piece);
  /// Adds what the process wrote last, if no line end came behind it.
  void finish(LogRing& ring, pid_t pid);

 private:
  void append(std::string_view text);

  std::string line_;
};

/// CLOCK_REALTIME in nanoseconds.
[[nodiscard]] std::uint64_t realtimeNow() noexcept;

}  // namespace vanto::manager
