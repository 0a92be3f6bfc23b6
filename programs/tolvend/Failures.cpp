// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Failures.h"

#include <algorithm>

namespace vanto::manager {

Failures::Failures(BackOff backOff, const LifeCycleTimes& times) noexcept
    : backOff_(backOff), startPause_(times.startPause), retelling_(times.retelling) {}

void Failures::startFailed(const StartFailure& failure, Pause pause, std::uint64_t now) {
  note(failure, startPause_, pause, now);
}

void Failures::runFailed(const StartFailure& failure, Pause pause, std::uint64_t now) {
  note(failure, backOff_.failed(failure.ran), pause, now);
  using Stage = StartFailure::Stage;
  const bool isRetold = failure.stage == Stage::Greeting || failure.stage == Stage::Confinement;
  retellUntil_ = isRetold ? now + retelling_ : 0;
}

void Failures::runEnded(std::uint64_t ran) noexcept {
  if (ran >= BackOff::healthy) backOff_.reset();
}

void Failures::forget() noexcept {
  backOff_.reset();
  pauseUntil_ = 0;
  retellUntil_ = 0;
}

void Failures::endPause(std::uint64_t now) noexcept {
  if (pauseUntil_ <= now) pauseUntil_ = 0;
}

void Failures::note(const StartFailure& failure, std::uint64_t length, Pause pause, std::uint64_t now) {
  last_ = failure;
  last_.time = now;
  last_.pause = length;
  ++count_;
  // Another process may have failed before it, for longer.
  if (pause == Pause::Begins) pauseUntil_ = std::max(pauseUntil_, now + length);
}

}  // namespace vanto::manager
