// SPDX-License-Identifier: Apache-2.0
#include "LifeCycleModel.h"

#include <algorithm>
#include <cmath>

#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;
constexpr std::uint64_t microsecond = 1'000;
constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t idleAfter = 2 * second;

// The longest that a client waits if nothing but its start happens: a process that is not executed for just under 10 s,
// says for the first time after 2 s that it is idle, and then does not accept for 10 s; the pause that it may have
// waited for before; what is asked for arriving late. Each order, and each process that ends, may put that off by once
// more: as long as that, or 20 s until a process is killed.
constexpr std::uint64_t longestStart = 23 * second + 500 * millisecond;

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
  // Nothing more is done: whoever waits now must be served or told.
  if (chance(50) && !isRetired_)
    order([this] {
      isRetired_ = true;
      orderToEnd([this] { lifeCycle_.retire(StartFailure::Stage::Removed, now_); });
    });
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
  process.lookAt = now_ + 10 * second;
  process.isForeign = chance(15);
  process.isDeaf = process.isForeign && chance(30);
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
  waiting_.clear();
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

void LifeCycleModel::lookAtProcesses() {
  bool isFailure = false;
  for (auto& [id, process] : processes_) {
    if (process.lookAt > now_) continue;
    process.lookAt = never;
    isFailure = process.toldFailed = !waiting_.empty();
    process.seemedToAccept = waiting_.empty() && process.toldExecuted;
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
         (process.toldListening || !process.seemedToAccept || process.lookAt != never);
}

void LifeCycleModel::expectFailure(bool isExpected, const char* what, const std::function<void()>& call) {
  const std::uint64_t before = lifeCycle_.failures() - failedSpawns_;
  call();
  const bool isFailure = lifeCycle_.failures() - failedSpawns_ != before;
  if (isFailure != isExpected) wrong(std::string(what) + (isFailure ? " is" : " is not") + " taken for a failure");
}

void LifeCycleModel::arrive(Client client) {
  waiting_.push_back(client);
  planNotice();
  for (const auto& [id, process] : processes_) planAccept(id);
}

void LifeCycleModel::planNotice() {
  if (isNoticePlanned_ || !isWatching_ || waiting_.empty()) return;
  isNoticePlanned_ = true;
  plan(upTo(2 * millisecond), [this] {
    isNoticePlanned_ = false;
    notice();
  });
}

void LifeCycleModel::notice() {
  if (!isWatching_) {
    // A report that was on its way when the watch ended.
    lifeCycle_.connectionWaiting(now_);
    return;
  }
  if (waiting_.empty()) return;
  bool isRetold = false;
  if (!isHeld_) {
    if (Process* process = current()) {
      process->lookAt = now_ + 10 * second;
    } else if (now_ < retellUntil_) {
      isRetold = true;
    } else if (const std::uint64_t earliest = lifeCycle_.earliestStart(); earliest > now_) {
      isPatient_ = earliest - now_ <= second;
    }
  }
  lifeCycle_.connectionWaiting(now_);
  if (waiting_.empty()) isPatient_ = false;
  if (isRetold && !waiting_.empty()) wrong("a client that connects again was not told of the failure");
  if (isWatching_ && !waiting_.empty()) wrong("a client was reported and nothing was done");
}

void LifeCycleModel::planLife(InstanceId instance) {
  const std::uint64_t delay = chance(3) ? upTo(25 * second) : upTo(10 * millisecond);
  switch (upTo(19)) {
    case 0:
      return plan(delay, [this, instance] { end(instance, {Ending::Kind::Signalled, 9}); });
    case 1:
    case 2:
      return plan(delay, [this, instance] {
        Process& process = processes_[instance];
        if (!process.isAlive) return;
        process.hasFailedExecution = true;
        report(instance, [this, instance] {
          Process& failed = processes_[instance];
          failed.toldGone = true;
          failed.lookAt = never;
          if (current_ == instance) current_ = 0;
          StartFailure failure;
          failure.stage = StartFailure::Stage::Executable;
          failure.error = 2;
          if (failed.endingSince == 0) failed.endingSince = now_;
          const bool isNews = !failed.isAsked && !failed.toldFailed;
          failed.toldFailed = true;
          expectFailure(isNews, "a failed execution",
                        [this, instance, failure] { lifeCycle_.executionFailed(instance, failure, now_); });
        });
        if (!process.lingers)
          plan(upTo(5 * millisecond), [this, instance] { end(instance, {Ending::Kind::Exited, 127}); });
      });
    default:
      return plan(delay, [this, instance] { execute(instance); });
  }
}

void LifeCycleModel::execute(InstanceId instance) {
  Process& process = processes_[instance];
  if (!process.isAlive) return;
  process.isExecuted = true;
  report(instance, [this, instance] {
    Process& executed = processes_[instance];
    executed.toldExecuted = true;
    if (!executed.toldListening && executed.lookAt != never) executed.lookAt = now_ + 10 * second;
    lifeCycle_.executed(instance, now_);
  });
  const std::uint64_t delay = chance(5) ? upTo(25 * second) : upTo(100 * millisecond);
  switch (upTo(9)) {
    case 0:
      return plan(delay, [this, instance] { end(instance, {Ending::Kind::Exited, static_cast<int>(upTo(1))}); });
    case 1:
      return plan(anyTime(), [this, instance] { end(instance, {Ending::Kind::Signalled, 6}); });
    default:
      if (process.isFeigning) return plan(delay, [this, instance] { feign(instance); });
      if (!process.isDeaf) plan(delay, [this, instance] { beginAccepting(instance); });
      if (chance(25)) {
        plan(anyTime(), [this, instance] { end(instance, {Ending::Kind::Exited, static_cast<int>(upTo(1))}); });
      }
  }
}

void LifeCycleModel::beginAccepting(InstanceId instance) {
  Process& process = processes_[instance];
  if (!process.isAlive || process.hasStopped) return;
  process.isAccepting = true;
  if (!process.isForeign) {
    report(instance, [this, instance] {
      processes_[instance].toldListening = true;
      processes_[instance].lookAt = never;
      lifeCycle_.listening(instance, now_);
    });
    endConnection(instance);
  }
  planAccept(instance);
}

void LifeCycleModel::feign(InstanceId instance) {
  if (!processes_[instance].isAlive) return;
  if (chance(70)) {
    report(instance, [this, instance] {
      processes_[instance].toldListening = true;
      processes_[instance].lookAt = never;
      lifeCycle_.listening(instance, now_);
    });
  }
  plan(second + upTo(second), [this, instance] { sayIdle(instance); });
}

/// Once more each two seconds, until it ends by itself.
void LifeCycleModel::sayIdle(InstanceId instance) {
  if (!processes_[instance].isAlive) return;
  report(instance, [this, instance] {
    Process& said = processes_[instance];
    const bool isHeard = !said.toldGone && !said.isAsked && !said.toldFailed;
    const bool isExcuse = said.toldGreeted || waiting_.empty();
    if (isHeard && !isExcuse) said.lookAt = std::min(said.lookAt, now_ + 10 * second);
    if (isHeard) said.toldIdle = isExcuse;
    lifeCycle_.saidIdle(instance, now_);
  });
  if (!processes_[instance].isFeigning) return;
  if (chance(20)) {
    plan(upTo(50 * millisecond), [this, instance] { end(instance, {Ending::Kind::Exited, 0}); });
  } else {
    plan(idleAfter, [this, instance] { sayIdle(instance); });
  }
}

void LifeCycleModel::planAccept(InstanceId instance) {
  Process& process = processes_[instance];
  if (!process.isAccepting || process.isAcceptPlanned || waiting_.empty()) return;
  process.isAcceptPlanned = true;
  plan(upTo(10 * millisecond), [this, instance] { accept(instance); });
}

void LifeCycleModel::accept(InstanceId instance) {
  Process& process = processes_[instance];
  process.isAcceptPlanned = false;
  if (!process.isAlive || !process.isAccepting || waiting_.empty()) return;
  const Client client = waiting_.front();
  waiting_.erase(waiting_.begin());
  seen_.longestWait = std::max(seen_.longestWait, now_ - client.since);
  ++process.connections;
  ++process.activity;
  process.unserved.push_back(client);
  plan(upTo(10 * millisecond), [this, instance] { greet(instance); });
  planAccept(instance);
}

void LifeCycleModel::greet(InstanceId instance) {
  Process& process = processes_[instance];
  if (!process.isAlive || process.unserved.empty()) return;
  if (process.crashesAtGreeting) return end(instance, {Ending::Kind::Exited, static_cast<int>(upTo(1))});
  process.unserved.erase(process.unserved.begin());
  ++seen_.served;
  if (!process.hasGreeted && !process.isForeign) {
    report(instance, [this, instance] {
      Process& greeting = processes_[instance];
      greeting.toldGreeted = greeting.toldListening = true;
      greeting.lookAt = never;
      lifeCycle_.greeted(instance, now_);
    });
  }
  process.hasGreeted = true;
  plan(chance(70) ? upTo(100 * millisecond) : anyTime(), [this, instance] {
    --processes_[instance].connections;
    endConnection(instance);
  });
}

void LifeCycleModel::endConnection(InstanceId instance) {
  Process& process = processes_[instance];
  if (!process.isAlive || process.connections != 0) return;
  if (process.hasStopped) {
    if (!process.lingers) plan(upTo(millisecond), [this, instance] { end(instance, {Ending::Kind::Exited, 0}); });
    return;
  }
  if (process.isForeign) return;
  plan(idleAfter, [this, instance, activity = process.activity] {
    const Process& idle = processes_[instance];
    if (!idle.isAlive || !idle.isAccepting || idle.connections != 0 || idle.activity != activity) return;
    sayIdle(instance);
  });
}

void LifeCycleModel::stopAccepting(InstanceId instance) {
  Process& process = processes_[instance];
  if (!process.isAlive || process.hasStopped) return;
  process.isAccepting = false;
  process.hasStopped = true;
  report(instance, [this, instance] {
    Process& stopped = processes_[instance];
    stopped.toldGone = true;
    stopped.lookAt = never;
    if (current_ == instance) current_ = 0;
    for (Client& client : waiting_) ++client.disturbances;
    const bool isFailure = isUnseen(stopped) && !waiting_.empty();
    stopped.toldStopped = true;
    stopped.toldFailed = stopped.toldFailed || isFailure;
    if (stopped.endingSince == 0) stopped.endingSince = now_;
    expectFailure(isFailure, "a stop", [this, instance] { lifeCycle_.stoppedAccepting(instance, now_); });
  });
  endConnection(instance);
}

void LifeCycleModel::end(InstanceId instance, Ending ending) {
  Process& process = processes_[instance];
  if (!process.isAlive) return;
  process.isAlive = process.isAccepting = false;
  for (Client client : process.unserved) {
    ++seen_.lost;
    plan(upTo(2 * millisecond), [this, client] { arrive({now_, client.disturbances}); });
  }
  process.unserved.clear();
  report(instance, [this, instance, ending] {
    tellEnd(instance, ending);
    // Calls about a process that is gone do nothing.
    if (chance(10)) lifeCycle_.greeted(instance, now_);
    if (chance(10)) lifeCycle_.stoppedAccepting(instance, now_);
  });
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
    if (now_ - client.since > longestStart * (1 + client.disturbances)) wrong("a client waits too long");
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
