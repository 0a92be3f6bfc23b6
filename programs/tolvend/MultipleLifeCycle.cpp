// SPDX-License-Identifier: Apache-2.0

// The life of a job with several instances
//
// Each client that connects is accepted here and gets a process of its own, so nobody waits for a process that has
// others to serve, and no process but the one made for it can lose a client. What is left to decide is when a client is
// accepted, and what becomes of its connection if the process fails.
//
// The listener is watched but for these times: before it begins, unless the job is held; while a client is known to
// wait for the end of a short pause; while all processes were asked to end and have not; and for ever once the job is
// retired. Those who come meanwhile wait.
//
// The world holds each connection beside the process until the process has greeted its client, or for a limited time,
// since a process without the library never says so. If the process ends before that, the client is told why. A client
// whose process was ended by people is told nothing: its library connects again and finds what there is then. An
// end with status 0 before the greeting tells the client as well, and is no failure otherwise, since a service may end
// so after it has refused somebody, who must not be able to keep all others out for a pause.
//
// Each process counts, for the job and for the user, until it has ended, whatever it has said.
#include "tolvend/MultipleLifeCycle.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;

}  // namespace

MultipleLifeCycle::MultipleLifeCycle(MultipleLifeCycleWorld& world, InstanceLimit& limit, BackOff backOff,
                                     LifeCycleTimes times) noexcept
    : world_(world), limit_(limit), backOff_(backOff), times_(times) {}

MultipleLifeCycle::~MultipleLifeCycle() {
  for (const Instance& instance : instances_) limit_.giveBack(instance.user);
}

void MultipleLifeCycle::begin(std::uint64_t now) {
  hasBegun_ = true;
  settle(now);
}

void MultipleLifeCycle::connectionWaiting(std::uint64_t now) {
  if (!isWatching_) return;
  if (isHeld_) {
    world_.tellWaiting(failureOf(StartFailure::Stage::Held, now));
  } else if (pauseUntil_ <= now) {
    serveOne(now);
  } else if (pauseUntil_ - now <= times_.patience) {
    isClientPatient_ = true;
  } else {
    world_.tellWaiting(pauseAfter(failure_, pauseUntil_, now));
  }
  settle(now);
}

void MultipleLifeCycle::executed(InstanceId instance, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr || found->isExecuted) return;
  found->isExecuted = true;
  if (found->lookAt != never) found->lookAt = now + times_.listening;
  settle(now);
}

void MultipleLifeCycle::executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr || found->isExecuted || found->hasFailed) return;
  StartFailure told = failure;
  told.instance = instance;
  if (!found->isAsked) noteFailure(told, times_.startPause, now);
  endConnection(*found, told);
  found->hasFailed = true;
  found->killAt = std::min(found->killAt, now + times_.ending);
  settle(now);
}

void MultipleLifeCycle::listening(InstanceId instance, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr) return;
  found->isExecuted = true;
  found->saidListening = true;
  settle(now);
}

void MultipleLifeCycle::greeted(InstanceId instance, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr) return;
  found->hasGreeted = true;
  forgetConnection(*found);
  listening(instance, now);
}

void MultipleLifeCycle::stoppedAccepting(InstanceId instance, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr || found->saidStopped) return;
  endConnection(*found, found->failure(now));
  found->saidStopped = true;
  found->killAt = std::min(found->killAt, now + times_.ending);
  settle(now);
}

void MultipleLifeCycle::rejected(InstanceId instance, const std::string& why, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr) return;
  const bool isNews = !found->isAsked && !found->hasFailed;
  StartFailure failure = found->failure(now);
  failure.stage = StartFailure::Stage::Confinement;
  failure.reason = why;
  found->hasFailed = true;
  // Before its client is told, so that no greeting follows.
  world_.signal(instance, LifeCycleWorld::Signal::Kill);
  if (isNews) {
    noteFailure(failure, backOff_.failed(failure.ran), now);
    endConnection(*found, failure);
  }
  found->killAt = never;
  found->isAsked = true;
  settle(now);
}

void MultipleLifeCycle::ended(InstanceId instance, Ending ending, std::uint64_t now) {
  Instance* found = find(instance);
  if (found == nullptr) return;
  StartFailure failure = found->failure(now);
  (ending.kind == Ending::Kind::Signalled ? failure.signal : failure.exitStatus) = ending.value;
  if (now - found->since >= BackOff::healthy) backOff_.reset();
  const bool isFailure = isCrash(ending) || (failure.stage == StartFailure::Stage::Listening && found->hasConnection);
  if (isFailure && !found->isAsked && !found->hasFailed) {
    noteFailure(failure, backOff_.failed(now - found->since), now);
  }
  endConnection(*found, failure);
  limit_.giveBack(found->user);
  instances_.erase(instances_.begin() + (found - instances_.data()));
  settle(now);
}

void MultipleLifeCycle::timerExpired(std::uint64_t now) {
  timer_ = never;
  for (Instance& instance : instances_) {
    if (instance.lookAt <= now) lookAtConnection(instance, now);
    if (instance.killAt <= now) {
      instance.killAt = never;
      instance.isAsked = true;
      world_.signal(instance.id, LifeCycleWorld::Signal::Kill);
    }
  }
  settle(now);
}

void MultipleLifeCycle::start(std::uint64_t now) {
  isHeld_ = false;
  forgetFailures();
  settle(now);
}

void MultipleLifeCycle::stop(std::uint64_t now) {
  askAllToEnd(now);
  settle(now);
}

void MultipleLifeCycle::restart(std::uint64_t now) {
  isHeld_ = false;
  forgetFailures();
  stop(now);
}

void MultipleLifeCycle::hold(std::uint64_t now) {
  if (isRetired_) return;
  isHeld_ = true;
  isClientPatient_ = false;
  askAllToEnd(now);
  world_.tellWaiting(failureOf(StartFailure::Stage::Held, now));
  settle(now);
}

void MultipleLifeCycle::retire(StartFailure::Stage told, std::uint64_t now) {
  if (isRetired_) return;
  isRetired_ = true;
  askAllToEnd(now);
  world_.tellWaiting(failureOf(told, now));
  settle(now);
}

MultipleLifeCycle::State MultipleLifeCycle::state() const noexcept {
  if (isRetired_) return instances_.empty() ? State::Resting : State::Stopping;
  if (isHeld_) return State::Held;
  if (!hasBegun_ || isStopping_) return State::Stopping;
  if (pauseUntil_ != 0) return State::Pausing;
  if (instances_.empty()) return State::Resting;
  const bool isAnyReady = std::ranges::any_of(
      instances_, [](const Instance& instance) { return instance.state() != InstanceRecord::State::Starting; });
  return isAnyReady ? State::Running : State::Starting;
}

MultipleLifeCycle::Instance* MultipleLifeCycle::find(InstanceId instance) noexcept {
  const auto found = std::ranges::find(instances_, instance, &Instance::id);
  return found == instances_.end() ? nullptr : &*found;
}

bool MultipleLifeCycle::shallWatch() const noexcept {
  return !isRetired_ && (isHeld_ || (hasBegun_ && !isStopping_ && !isClientPatient_));
}

std::uint64_t MultipleLifeCycle::nextDeadline() const noexcept {
  std::uint64_t next = pauseUntil_ == 0 ? never : pauseUntil_;
  for (const Instance& instance : instances_) next = std::min({next, instance.lookAt, instance.killAt});
  return next;
}

MultipleLifeCycle::Appearance MultipleLifeCycle::appearance() const noexcept {
  const auto running = std::ranges::count_if(
      instances_, [](const Instance& instance) { return instance.state() == InstanceRecord::State::Running; });
  return {state(), instances_.size(), static_cast<std::size_t>(running), starts_, failures_};
}

void MultipleLifeCycle::serveOne(std::uint64_t now) {
  Instance instance;
  instance.id = ++lastId_;
  if (!world_.accept(instance.id, instance.user)) return;
  if (instances_.size() >= limits::instancesPerJob || !limit_.take(instance.user)) {
    world_.refuse(instance.id, failureOf(StartFailure::Stage::Limit, now));
    return;
  }
  StartFailure failure;
  if (!world_.spawn(instance.id, failure)) {
    limit_.giveBack(instance.user);
    noteFailure(failure, times_.startPause, now);
    world_.refuse(instance.id, failure);
    return;
  }
  ++starts_;
  instance.since = now;
  instance.lookAt = now + times_.listening;
  instances_.push_back(instance);
}

void MultipleLifeCycle::noteFailure(StartFailure& failure, std::uint64_t pause, std::uint64_t now) {
  failure.time = now;
  failure.pause = pause;
  failure_ = failure;
  ++failures_;
  // Another instance may have failed before it, for longer.
  pauseUntil_ = std::max(pauseUntil_, now + pause);
}

void MultipleLifeCycle::endConnection(Instance& instance, const StartFailure& failure) {
  if (instance.isAsked) {
    forgetConnection(instance);
    return;
  }
  instance.lookAt = never;
  if (!std::exchange(instance.hasConnection, false)) return;
  world_.refuse(instance.id, failure);
}

void MultipleLifeCycle::forgetConnection(Instance& instance) {
  instance.lookAt = never;
  if (std::exchange(instance.hasConnection, false)) world_.forget(instance.id);
}

void MultipleLifeCycle::lookAtConnection(Instance& instance, std::uint64_t now) {
  if (instance.isExecuted) {
    instance.seemsToAccept = true;
    forgetConnection(instance);
    return;
  }
  StartFailure failure = instance.failure(now);
  failure.error = ETIMEDOUT;
  failure.patience = times_.listening;
  noteFailure(failure, backOff_.failed(failure.ran), now);
  endConnection(instance, failure);
  instance.hasFailed = true;
  askToEnd(instance, now);
}

void MultipleLifeCycle::forgetFailures() noexcept {
  backOff_.reset();
  pauseUntil_ = 0;
  isClientPatient_ = false;
}

void MultipleLifeCycle::askToEnd(Instance& instance, std::uint64_t now) {
  if (instance.isAsked) return;
  instance.isAsked = true;
  instance.killAt = std::min(instance.killAt, now + times_.ending);
  world_.signal(instance.id, LifeCycleWorld::Signal::Terminate);
}

void MultipleLifeCycle::askAllToEnd(std::uint64_t now) {
  for (Instance& instance : instances_) askToEnd(instance, now);
  isStopping_ = !instances_.empty();
}

void MultipleLifeCycle::settle(std::uint64_t now) {
  if (pauseUntil_ <= now) {
    pauseUntil_ = 0;
    isClientPatient_ = false;
  }
  if (instances_.empty()) isStopping_ = false;

  if (shallWatch() != isWatching_) {
    isWatching_ = !isWatching_;
    world_.watchListener(isWatching_);
  }
  if (const std::uint64_t next = nextDeadline(); next != timer_) {
    timer_ = next;
    world_.setTimer(next);
  }
  if (const Appearance current = appearance(); current != told_) {
    told_ = current;
    world_.changed();
  }
}

}  // namespace vanto::manager
