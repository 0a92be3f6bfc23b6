// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "tolvend/BackOff.h"
#include "tolvend/LifeCycleTimes.h"
#include "tolvend/StartFailure.h"

namespace vanto::manager {

/// The failures of one job: the last one, how many there were, and the pause before the next start. Times are of
/// CLOCK_MONOTONIC in nanoseconds. Not thread-safe.
class Failures {
 public:
  enum class Pause : std::uint8_t {
    Begins,   ///< the next start is put off
    Unneeded  ///< there is another process already, so that there is nothing to put off
  };

  Failures(BackOff backOff, const LifeCycleTimes& times) noexcept;

  /// Notes a start that failed before the service was executed.
  void startFailed(const StartFailure& failure, Pause pause, std::uint64_t now);
  /// Notes a failure of a process that was executed and ran for `failure.ran`: the pause grows with each.
  void runFailed(const StartFailure& failure, Pause pause, std::uint64_t now);
  /// A process has ended after a run of `ran`, well or not.
  void runEnded(std::uint64_t ran) noexcept;
  /// The next start may be at once, and the next pause is the first again.
  void forget() noexcept;

  /// No start before this; 0 while there is no pause.
  [[nodiscard]] std::uint64_t pauseUntil() const noexcept { return pauseUntil_; }
  /// Ends the pause if it is over.
  void endPause(std::uint64_t now) noexcept;
  /// Whether clients who come at `now` are told of the last failure.
  [[nodiscard]] bool isToldAgain(std::uint64_t now) const noexcept { return now < retellUntil_; }
  [[nodiscard]] std::uint64_t count() const noexcept { return count_; }
  /// The last failure, or null.
  [[nodiscard]] const StartFailure* last() const noexcept { return count_ == 0 ? nullptr : &last_; }

 private:
  void note(const StartFailure& failure, std::uint64_t length, Pause pause, std::uint64_t now);

  BackOff backOff_;
  std::uint64_t startPause_;
  std::uint64_t retelling_;
  std::uint64_t pauseUntil_ = 0;
  /// Until then clients are told of the last failure; 0 for none.
  std::uint64_t retellUntil_ = 0;
  std::uint64_t count_ = 0;
  StartFailure last_;
};

}  // namespace vanto::manager
