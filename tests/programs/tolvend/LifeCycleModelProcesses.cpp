// SPDX-License-Identifier: Apache-2.0

// What clients and processes do, and when the life cycle is told of it.
#include "LifeCycleModel.h"

#include <algorithm>

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;
constexpr std::uint64_t millisecond = 1'000'000;
constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t idleAfter = 2 * second;

}  // namespace

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
      beginToLook(*process);
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
    executed.lastProgress = now_;
    if (!executed.toldListening && executed.lookAt != never) beginToLook(executed);
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
    if (isHeard && !isExcuse && said.lookAt == never) beginToLook(said);
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
  const std::uint64_t longest = process.isBesieged ? 2 * second : 10 * millisecond;
  plan(upTo(longest), [this, instance] { accept(instance); });
}

void LifeCycleModel::accept(InstanceId instance) {
  Process& process = processes_[instance];
  process.isAcceptPlanned = false;
  if (!process.isAlive || !process.isAccepting || waiting_.empty()) return;
  const Client client = waiting_.front();
  waiting_.erase(waiting_.begin());
  seen_.longestWait = std::max(seen_.longestWait, now_ - client.since);
  isAnybodyAccepted_ = true;
  process.lastProgress = now_;
  if (process.isBesieged && !isOver_) arrive({now_, 0});
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

}  // namespace vanto::manager
