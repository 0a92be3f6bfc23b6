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
// so after it has refused somebody, who must not be able to keep all others out for a pause. For the same reason no end
// before the greeting is a failure when the client had left by then, whatever the status: many programs end by a signal
// when they write to somebody who is gone. If the service is at fault, the next client who stays finds out.
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
                                     const LifeCycleTimes& times) noexcept
    : JobLife(world, backOff, times), world_(world), limit_(limit) {}

MultipleLifeCycle::~MultipleLifeCycle() {
  for (const InstanceRecord& instance : instances()) limit_.giveBack(instance.user);
}

void MultipleLifeCycle::serveWaiting(std::uint64_t now) {
  if (earliestStart() <= now) {
    serveOne(now);
  } else {
    putOff(now);
  }
}

void MultipleLifeCycle::executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now) {
  InstanceRecord* found = find(instance);
  if (found == nullptr || found->isExecuted || found->hasFailed) return;
  StartFailure told = failure;
  told.instance = instance;
  endConnection(*found, found->isAsked ? told : failStart(told, now));
  found->hasFailed = true;
  found->killAt = std::min(found->killAt, now + times().ending);
  settle(now);
}

void MultipleLifeCycle::listening(InstanceId instance, std::uint64_t now) {
  InstanceRecord* found = find(instance);
  if (found == nullptr) return;
  found->isExecuted = true;
  found->saidListening = true;
  settle(now);
}

void MultipleLifeCycle::greeted(InstanceId instance, std::uint64_t now) {
  InstanceRecord* found = find(instance);
  if (found == nullptr) return;
  found->hasGreeted = true;
  forgetConnection(*found);
  listening(instance, now);
}

void MultipleLifeCycle::stoppedAccepting(InstanceId instance, std::uint64_t now) {
  InstanceRecord* found = find(instance);
  if (found == nullptr || found->saidStopped) return;
  endConnection(*found, found->failure(now));
  found->saidStopped = true;
  found->killAt = std::min(found->killAt, now + times().ending);
  settle(now);
}

void MultipleLifeCycle::rejected(InstanceId instance, const std::string& why, std::uint64_t now) {
  InstanceRecord* found = find(instance);
  if (found == nullptr) return;
  const bool isNews = !found->isAsked && !found->hasFailed;
  StartFailure failure = found->failure(now);
  failure.stage = StartFailure::Stage::Confinement;
  failure.reason = why;
  found->hasFailed = true;
  // Before its client is told, so that no greeting follows.
  kill(*found);
  if (isNews) refuseConnection(*found, failRun(failure, now));
  settle(now);
}

void MultipleLifeCycle::ended(InstanceId instance, Ending ending, std::uint64_t now) {
  std::optional<InstanceRecord> record = take(instance, now);
  if (!record) return;
  StartFailure failure = record->failure(now);
  (ending.kind == Ending::Kind::Signalled ? failure.signal : failure.exitStatus) = ending.value;
  noteClient(*record);
  const bool isFailure = isCrash(ending) || (failure.stage == StartFailure::Stage::Listening && record->hasConnection);
  const bool isNews = isFailure && !record->isAsked && !record->hasFailed && !record->hasLostClient;
  endConnection(*record, isNews ? failRun(failure, now) : failure);
  limit_.giveBack(record->user);
  settle(now);
}

void MultipleLifeCycle::start(std::uint64_t now) {
  release();
  settle(now);
}

void MultipleLifeCycle::restart(std::uint64_t now) {
  release();
  stop(now);
}

MultipleLifeCycle::State MultipleLifeCycle::state() const noexcept {
  if (isRetired()) return isEmpty() ? State::Resting : State::Stopping;
  if (isHeld()) return State::Held;
  if (!hasBegun() || isStopping_) return State::Stopping;
  if (earliestStart() != 0) return State::Pausing;
  if (isEmpty()) return State::Resting;
  const bool isAnyReady = std::ranges::any_of(
      instances(), [](const InstanceRecord& instance) { return instance.state() != InstanceRecord::State::Starting; });
  return isAnyReady ? State::Running : State::Starting;
}

bool MultipleLifeCycle::shallWatch() const noexcept {
  return !isRetired() && (isHeld() || (hasBegun() && !isStopping_ && !isClientPatient()));
}

void MultipleLifeCycle::serveOne(std::uint64_t now) {
  InstanceRecord instance;
  instance.id = nextId();
  instance.hasConnection = true;
  if (!world_.accept(instance.id, instance.user)) return;
  // Else who connects and leaves would cost a process each time, and no pause.
  if (world_.hasClientLeft(instance.id)) return world_.forget(instance.id);
  if (instances().size() >= limits::instancesPerJob || !limit_.take(instance.user)) {
    world_.refuse(instance.id, failureOf(StartFailure::Stage::Limit, now));
    return;
  }
  StartFailure failure;
  if (make(instance, failure, now)) return;
  limit_.giveBack(instance.user);
  world_.refuse(instance.id, failStart(failure, now));
}

const StartFailure& MultipleLifeCycle::failStart(const StartFailure& failure, std::uint64_t now) {
  failureHistory().startFailed(failure, Failures::Pause::Begins, now);
  return *lastFailure();
}

const StartFailure& MultipleLifeCycle::failRun(const StartFailure& failure, std::uint64_t now) {
  failureHistory().runFailed(failure, Failures::Pause::Begins, now);
  return *lastFailure();
}

void MultipleLifeCycle::endConnection(InstanceRecord& instance, const StartFailure& failure) {
  if (instance.isAsked) {
    forgetConnection(instance);
  } else {
    refuseConnection(instance, failure);
  }
}

void MultipleLifeCycle::refuseConnection(InstanceRecord& instance, const StartFailure& failure) {
  noteClient(instance);
  instance.lookAt = never;
  if (std::exchange(instance.hasConnection, false)) world_.refuse(instance.id, failure);
}

void MultipleLifeCycle::forgetConnection(InstanceRecord& instance) {
  noteClient(instance);
  instance.lookAt = never;
  if (std::exchange(instance.hasConnection, false)) world_.forget(instance.id);
}

void MultipleLifeCycle::noteClient(InstanceRecord& instance) {
  if (instance.hasConnection && !instance.hasGreeted) instance.hasLostClient = world_.hasClientLeft(instance.id);
}

void MultipleLifeCycle::beginToLook(InstanceRecord& instance, std::uint64_t now) {
  instance.lookAt = now + times().listening;
}

void MultipleLifeCycle::look(InstanceRecord& instance, std::uint64_t now) {
  if (instance.isExecuted) {
    instance.seemsToAccept = true;
    forgetConnection(instance);
    return;
  }
  StartFailure failure = instance.failure(now);
  failure.error = ETIMEDOUT;
  failure.patience = times().listening;
  endConnection(instance, failRun(failure, now));
  instance.hasFailed = true;
  askToEnd(instance, now);
}

void MultipleLifeCycle::endAll(std::uint64_t now) {
  askAllToEnd(now);
  isStopping_ = !isEmpty();
}

void MultipleLifeCycle::catchUp(std::uint64_t) {
  if (isEmpty()) isStopping_ = false;
}

}  // namespace vanto::manager
