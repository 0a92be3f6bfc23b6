// SPDX-License-Identifier: Apache-2.0

// What must hold after each event.
#include "LifeCycleModel.h"

#include <algorithm>

#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;
constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;

// The longest that a client waits if nothing but its start happens: a process that is not executed for just under 10 s,
// says for the first time after 2 s that it is idle, and then does not accept for 10 s; a second until it is first seen
// to wait; the pause that it may have waited for before; what is asked for arriving late. Each order, and each process
// that ends, may put that off by once more: as long as that, or 20 s until a process is killed.
constexpr std::uint64_t longestStart = 24 * second + 500 * millisecond;

}  // namespace

/// Whoever was there before it was made has seen a process come and go.
void LifeCycleModel::checkComeAndGone(const Process& process, bool isFailure) {
  if (isFailure && now_ - process.madeAt > second) ++seen_.feigned;
  for (const Client& client : waiting_) {
    if (client.since < process.madeAt) wrong("a client was not told of a process that accepted nobody");
  }
}

bool LifeCycleModel::isUnseen(const Process& process) const {
  if (process.isAsked || process.toldFailed || process.toldStopped) return false;
  if (now_ - process.madeAt < second) return true;
  return !process.toldIdle && !process.toldGreeted &&
         (process.toldListening || !(process.hasAccepted || (process.seemedToAccept && process.lookAt == never)));
}

void LifeCycleModel::expectFailure(bool isExpected, const char* what, const std::function<void()>& call) {
  const std::uint64_t before = lifeCycle_.failures() - failedSpawns_;
  call();
  const bool isFailure = lifeCycle_.failures() - failedSpawns_ != before;
  if (isFailure != isExpected) wrong(std::string(what) + (isFailure ? " is" : " is not") + " taken for a failure");
}

void LifeCycleModel::wrong(const std::string& what) {
  if (problem_.empty()) problem_ = what + " (at " + std::to_string(now_ / millisecond) + " ms)";
}

void LifeCycleModel::check() {
  if (!problem_.empty()) return;
  const auto accepting = std::ranges::count_if(processes_, [](const auto& entry) { return entry.second.isAccepting; });
  if (accepting > 1) wrong("two processes accept");
  if (lifeCycle_.current() != current_) wrong("another process is current");
  if (lifeCycle_.instances().size() != unfinished()) wrong("the processes are miscounted");
  if (isPatient_ && lifeCycle_.earliestStart() == 0) isPatient_ = false;
  if (isWatching_ != shallBeWatched()) wrong(isWatching_ ? "the listener is watched" : "the listener is not watched");
  if (timer_ != never && timer_ + 3 * millisecond < now_) wrong("a timer in the past");
  if (isStartWanted_ && hasBegun_ && !isHeld_ && !isRetired_ && current_ == 0 &&
      unfinished() < limits::instancesPerJob) {
    wrong("a start that was asked for is forgotten");
  }
  checkFailures();
  checkWaiting();
  checkTimer();
}

void LifeCycleModel::checkTimer() {
  bool isNeeded = lifeCycle_.earliestStart() != 0;
  for (const auto& [id, process] : processes_) {
    if (process.toldEnded || process.isKilled) continue;
    if (process.endingSince != 0 && now_ > process.endingSince + 20 * second + 10 * millisecond) {
      wrong("process " + std::to_string(id) + " is not killed");
    }
    isNeeded = isNeeded || process.endingSince != 0 || process.lookAt != never;
  }
  if (isNeeded != (timer_ != never)) wrong(isNeeded ? "no timer is set" : "a timer is set for nothing");
}

void LifeCycleModel::checkFailures() {
  if (lifeCycle_.failures() == failuresJudged_) return;
  if (lifeCycle_.failures() != failuresJudged_ + 1) return wrong("two failures at once");
  ++failuresJudged_;
  const StartFailure& failure = *lifeCycle_.lastFailure();
  if (failure.stage >= StartFailure::Stage::Listening) {
    retellUntil_ = failure.stage == StartFailure::Stage::Greeting ? now_ + 50 * millisecond : 0;
  }
  if (failure.time != now_) wrong("a failure at another time");
  if (failure.stage < StartFailure::Stage::Listening) {
    if (failure.pause != 100 * millisecond) wrong("a start that failed has another pause");
    return;
  }
  const auto ran = failure.ran >= BackOff::healthy;
  if (ran) nominal_ = BackOff::first;
  if (failure.pause < nominal_ / 4 * 3 || failure.pause > nominal_) {
    wrong("a pause of " + std::to_string(failure.pause) + " instead of up to " + std::to_string(nominal_));
  }
  nominal_ = std::min(2 * nominal_, BackOff::longest);
}

void LifeCycleModel::checkWaiting() {
  if (isRetired_ || waiting_.empty() || (!hasBegun_ && !isHeld_)) return;
  const Process* process = current();
  // What feigns to serve ends, or is looked at once it says that it is idle.
  const bool isServed =
      process != nullptr && (process->isAccepting || process->isKilled || (process->isFeigning && process->isAlive));
  if (!isServed && !isWatching_ && timer_ == never && reportsUnderWay_ == 0) wrong("a client waits for nothing");
  for (const Client& client : waiting_) {
    // Behind others, who are served one after the other.
    const std::uint64_t since =
        process != nullptr && process->isBesieged ? std::max(client.since, process->lastProgress) : client.since;
    if (now_ - since > longestStart * (1 + client.disturbances)) wrong("a client waits too long");
  }
}

bool LifeCycleModel::shallBeWatched() {
  if (isRetired_ || isHeld_) return !isRetired_;
  if (const Process* process = current()) {
    return !process->isAsked && !process->toldListening && process->lookAt == never;
  }
  return hasBegun_ && unfinished() < limits::instancesPerJob && !isPatient_;
}

LifeCycleModel::Process* LifeCycleModel::current() {
  const auto found = processes_.find(current_);
  return found == processes_.end() ? nullptr : &found->second;
}

std::size_t LifeCycleModel::unfinished() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(processes_, [](const auto& entry) { return !entry.second.toldEnded; }));
}

}  // namespace vanto::manager
