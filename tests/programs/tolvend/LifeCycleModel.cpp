// SPDX-License-Identifier: Apache-2.0
#include "LifeCycleModel.h"

#include <algorithm>

#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;
constexpr std::uint64_t microsecond = 1'000;
constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;

}  // namespace

LifeCycleModel::LifeCycleModel(std::uint64_t seed) : random_(seed), lifeCycle_(*this, BackOff(seed)) {}

void LifeCycleModel::begin() {
  for (Client& client : waiting_) ++client.disturbances;
  hasBegun_ = true;
  lifeCycle_.begin(now_);
}

std::string LifeCycleModel::walk() {
  if (chance(70)) {
    begin();
  } else {
    // A process is left that another manager has started.
    plan(upTo(20 * second), [this] { begin(); });
  }
  check();
  for (int step = 0; step < 40 && problem_.empty(); ++step) {
    act();
    check();
    runUntil(now_ + anyTime());
  }
  // Nothing more is done, and nobody comes: whoever waits now must be served or told.
  if (chance(50) && !isRetired_)
    order([this] {
      isRetired_ = true;
      orderToEnd([this] { lifeCycle_.retire(StartFailure::Stage::Removed, now_); });
    });
  isOver_ = true;
  runUntil(now_ + 600 * second);
  if (!waiting_.empty() && !isRetired_) wrong("a client waits after ten minutes");
  if (isRetired_ && !lifeCycle_.isEmpty()) wrong("a process is left long after the job was retired");
  if (isRetired_ && timer_ != never) wrong("a timer is set after the job was retired");
  return problem_;
}

void LifeCycleModel::watchListener(bool shallWatch) {
  if (shallWatch == isWatching_) wrong("the listener is watched, or not, twice");
  isWatching_ = shallWatch;
  if (isWatching_) planNotice();
}

bool LifeCycleModel::spawn(InstanceId instance, StartFailure& failure) {
  if (isHeld_ || isRetired_) wrong("a start while held or retired");
  if (!hasBegun_) wrong("a start before it begins");
  if (lifeCycle_.earliestStart() > now_) wrong("a start in a pause");
  for (const auto& [id, process] : processes_) {
    if (process.isAlive && !process.hasStopped && !process.hasFailedExecution) {
      wrong("a start while process " + std::to_string(id) + " accepts or is going to");
    }
  }
  if (unfinished() >= limits::instancesPerJob) wrong("too many processes");
  isPatient_ = isStartWanted_ = false;
  ++seen_.spawns;
  if (chance(5)) {
    failure.stage = StartFailure::Stage::Resources;
    failure.error = 11;
    ++failedSpawns_;
    return false;
  }
  Process process;
  process.madeAt = process.lastReport = now_;
  process.lastProgress = now_;
  beginToLook(process);
  process.isForeign = chance(15);
  process.isDeaf = process.isForeign && chance(30);
  process.isBesieged = process.isForeign && !process.isDeaf && chance(40);
  process.isFeigning = !process.isForeign && chance(10);
  process.ignoresTermination = chance(10);
  process.lingers = chance(10);
  process.crashesAtGreeting = chance(10);
  processes_[instance] = process;
  current_ = instance;
  planLife(instance);
  return true;
}

void LifeCycleModel::tellWaiting(const StartFailure& failure) {
  ++seen_.stages[failure.stage];
  if (isRetired_ && failure.stage != StartFailure::Stage::Removed) wrong("told of another thing than the retirement");
  if (failure.stage == StartFailure::Stage::Pause && failure.pause <= second) wrong("told of a short pause");
  seen_.told += waiting_.size();
  for (const Client& client : waiting_) seen_.longestWait = std::max(seen_.longestWait, now_ - client.since);
  isAnybodyAccepted_ = isAnybodyAccepted_ || !waiting_.empty();
  waiting_.clear();
}

WaitingChange LifeCycleModel::lookAtWaiting() {
  const WaitingChange change = changeOfWaiting();
  wasAnybodyWaiting_ = !waiting_.empty();
  isAnybodyAccepted_ = false;
  return change;
}

/// Those who have left are gone, as if somebody had accepted them, once nobody is there.
WaitingChange LifeCycleModel::changeOfWaiting() const {
  if (!wasAnybodyWaiting_) return waiting_.empty() ? WaitingChange::Nobody : WaitingChange::Come;
  return isAnybodyAccepted_ || waiting_.empty() ? WaitingChange::Accepted : WaitingChange::Same;
}

void LifeCycleModel::signal(InstanceId instance, Signal signal) {
  const auto found = processes_.find(instance);
  if (found == processes_.end() || found->second.toldEnded) return wrong("a signal for a process that has ended");
  Process& process = found->second;
  process.isAsked = true;
  process.lookAt = never;
  if (process.endingSince == 0) process.endingSince = now_;
  if (signal == Signal::Kill) {
    ++seen_.kills;
    process.isKilled = true;
    plan(upTo(5 * millisecond), [this, instance] { end(instance, {Ending::Kind::Signalled, 9}); });
    return;
  }
  plan(upTo(millisecond), [this, instance] {
    Process& asked = processes_[instance];
    if (!asked.isAlive || (asked.isExecuted && asked.ignoresTermination)) return;
    if (!asked.isExecuted || asked.isForeign || !asked.toldListening) {
      return end(instance, {Ending::Kind::Signalled, 15});
    }
    stopAccepting(instance);
  });
}

void LifeCycleModel::letLeave(InstanceId instance) {
  const auto found = processes_.find(instance);
  if (found == processes_.end() || found->second.toldGone) return wrong("leave for a process that is gone");
  if (found->second.isAsked) wrong("leave for a process that was asked to end");
  if (!found->second.toldGreeted && !waiting_.empty()) wrong("leave for a process that has let all wait");
  ++seen_.leaves;
  plan(upTo(millisecond), [this, instance] {
    const Process& process = processes_[instance];
    if (process.isAlive && process.connections == 0 && process.isAccepting) stopAccepting(instance);
  });
}

void LifeCycleModel::setTimer(std::uint64_t deadline) {
  timer_ = deadline;
  if (deadline == never) return;
  // Never early, and at times late.
  plan((deadline > now_ ? deadline - now_ : 0) + (chance(50) ? 0 : upTo(3 * millisecond)), [this, deadline] {
    if (timer_ != deadline) return;
    timer_ = never;
    lookAtProcesses();
  });
}

std::uint64_t LifeCycleModel::upTo(std::uint64_t most) {
  return random_() % (most + 1);
}

std::uint64_t LifeCycleModel::anyTime() {
  static constexpr std::uint64_t magnitudes[] = {10 * microsecond, millisecond, 30 * millisecond, 200 * millisecond,
                                                 second,           5 * second,  15 * second,      70 * second};
  return upTo(magnitudes[upTo(std::size(magnitudes) - 1)]);
}

void LifeCycleModel::plan(std::uint64_t after, std::function<void()> event) {
  events_.emplace(now_ + after, std::move(event));
}

void LifeCycleModel::report(InstanceId instance, std::function<void()> call) {
  Process& process = processes_[instance];
  process.lastReport = std::max(process.lastReport, now_ + upTo(3 * millisecond));
  ++reportsUnderWay_;
  plan(process.lastReport - now_, [this, call = std::move(call)] {
    --reportsUnderWay_;
    call();
  });
}

void LifeCycleModel::runUntil(std::uint64_t time) {
  while (problem_.empty() && !events_.empty() && events_.begin()->first <= time) {
    const auto first = events_.begin();
    now_ = std::max(now_, first->first);
    const std::function<void()> event = std::move(first->second);
    events_.erase(first);
    event();
    check();
  }
  now_ = std::max(now_, time);
}

void LifeCycleModel::act() {
  switch (upTo(19)) {
    case 0:
      return order([this] { orderToStart(&LifeCycle::start); });
    case 1:
      return order([this] { orderToEnd([this] { lifeCycle_.stop(now_); }); });
    case 2:
      return order([this] { orderToStart(&LifeCycle::restart); });
    case 3:
      if (!chance(40)) return;
      return order([this] {
        isHeld_ = true;
        isPatient_ = false;
        orderToEnd([this] { lifeCycle_.hold(now_); });
      });
    case 4:
      if (Process* process = current(); process != nullptr && chance(30)) {
        end(current_, chance(50) ? Ending{Ending::Kind::Signalled, 11} : Ending{Ending::Kind::Exited, 0});
      }
      return;
    case 5:
      // It stops by itself, whatever it has done.
      if (Process* process = current(); process != nullptr && process->isAccepting && !process->isForeign) {
        stopAccepting(current_);
      }
      return;
    case 6:
      // Somebody gives up.
      if (!waiting_.empty()) waiting_.pop_back();
      return;
    default:
      for (std::uint64_t count = upTo(3); count > 0; --count) {
        plan(upTo(20 * millisecond), [this] { arrive({now_, 0}); });
      }
  }
}

void LifeCycleModel::order(const std::function<void()>& order) {
  for (Client& client : waiting_) ++client.disturbances;
  order();
}

void LifeCycleModel::orderToStart(void (LifeCycle::*what)(std::uint64_t)) {
  isHeld_ = isPatient_ = false;
  retellUntil_ = 0;
  nominal_ = BackOff::first;
  const Process* process = current();
  isStartWanted_ = what == &LifeCycle::restart || process == nullptr || process->isAsked;
  (lifeCycle_.*what)(now_);
}

void LifeCycleModel::orderToEnd(const std::function<void()>& what) {
  isStartWanted_ = false;
  std::vector<InstanceId> asked;
  for (const auto& [id, process] : processes_) {
    if (!process.toldEnded) asked.push_back(id);
  }
  what();
  // Not one that it may have started for a client who waited for the end of a pause.
  for (const InstanceId id : asked) {
    if (!processes_[id].isAsked) wrong("process " + std::to_string(id) + " was not asked to end");
  }
}

void LifeCycleModel::beginToLook(Process& process) {
  process.acceptBy = now_ + 10 * second;
  process.lookAt = now_ + second;
}

/// Whether it has failed.
bool LifeCycleModel::look(Process& process) {
  const WaitingChange change = changeOfWaiting();
  if (change == WaitingChange::Come) {
    beginToLook(process);
    return false;
  }
  if (change != WaitingChange::Accepted && now_ < process.acceptBy) {
    process.lookAt = std::min(now_ + second, process.acceptBy);
    return false;
  }
  process.lookAt = never;
  if (change == WaitingChange::Same) return true;
  if (change == WaitingChange::Accepted) process.hasAccepted = true;
  process.seemedToAccept = process.toldExecuted;
  if (process.isBesieged && !waiting_.empty()) ++seen_.besieged;
  return false;
}

void LifeCycleModel::lookAtProcesses() {
  bool isFailure = false;
  for (auto& [id, process] : processes_) {
    if (process.lookAt > now_) continue;
    isFailure = process.toldFailed = look(process);
    if (isFailure && now_ - process.lastProgress < 10 * second) wrong("a process is ended that accepts");
  }
  expectFailure(isFailure, "a process that does not accept", [this] { lifeCycle_.timerExpired(now_); });
  if (Process* process = current(); isFailure && process != nullptr && !process->isAsked) {
    wrong("a process that does not accept was not asked to end");
  }
}

void LifeCycleModel::tellEnd(InstanceId instance, Ending ending) {
  Process& process = processes_[instance];
  const bool isQuietFailure = isUnseen(process) && !waiting_.empty();
  process.toldGone = process.toldEnded = true;
  process.lookAt = never;
  if (current_ == instance) current_ = 0;
  for (Client& client : waiting_) ++client.disturbances;
  if (now_ - process.madeAt >= BackOff::healthy) nominal_ = BackOff::first;
  const bool isFailure = isCrash(ending) ? !process.isAsked && !process.toldFailed : isQuietFailure;
  expectFailure(isFailure, "an end", [this, instance, ending] { lifeCycle_.ended(instance, ending, now_); });
  const StartFailure* failure = lifeCycle_.lastFailure();
  if (isFailure && current_ == 0 && failure != nullptr && failure->pause > second && !waiting_.empty()) {
    wrong("a client was not told of a long pause");
  }
  if (process.isFeigning && !process.isAsked) checkComeAndGone(process, isFailure);
}

}  // namespace vanto::manager
