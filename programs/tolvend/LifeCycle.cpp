// SPDX-License-Identifier: Apache-2.0

// The life of a job
//
// The listening socket is the manager's and outlives every process, so whoever connects waits there until somebody
// accepts: a process of the service, which serves, or the manager, which tells why there is no service. The one thing
// that must never be is that a client waits and nothing will happen any more. So at each moment at least one is true:
// a process accepts or is going to and is looked at, the listener is watched, or a timer is set.
//
// What is known is a handful of facts: the processes that have not ended, with what each has said and was asked; which
// of them accepts or is going to (current), none or one; whether there is a pause, and until when; whether the job is
// held or retired; whether a start was asked for that cannot be yet. Each event changes facts, may tell clients
// something, and ends in settle(), which alone starts what can be started, watches the listener or not, and sets the
// timer. The state is derived from the facts:
//
//   Resting   no current process, no pause     a client, start() → Starting
//   Pausing   no current process, a pause      it is over → Resting, or Starting if a client waits for that
//   Starting  current has not said listening   listening, or it seems to accept → Running
//   Running   current accepts                  it says that it stopped, or ends → Resting or Pausing
//   Stopping  current was asked to end         it says that it stopped, or ends → as from Running
//   Held      held, whatever is running        start() → Resting, Stopping
//
// The listener is watched while there is no current process, but not while a client is known to wait for the end of a
// pause, since that would be reported again and again; while the job is held, to tell each client; and beside a process
// that was never heard of but seems to accept, since the only sign that it does not is a client that goes on
// waiting.
//
// A process that was never heard of is looked at now and then while somebody waits for it. It accepts if any of those
// who waited at one look has been accepted at the next one, however many wait then. Whoever is there by then waits for
// one that is at work, and is looked after in the same way, again and again. It has failed if nobody of those who wait
// was accepted in all the time that it is given, which begins anew with the first client who comes where nobody waited.
// A process for which nobody comes in its time is taken to accept.
//
// A process is current from its making until it ends, says that it accepts nobody any more, or turns out not to
// have been executed. Only then may another be made, so there are never two that accept. The older one may live on for
// a while to finish what it holds: everything that was asked to end, or ends by itself, is killed when it takes too
// long. The number of such processes is bounded; beyond that clients wait until one has ended.
//
// Before it begins, a process that another manager has started for the job is left, and ends. The job counts as
// Stopping then, unless it is held: those who come are told so at once.
//
// Failures. A start that fails before the service is executed pauses for a short, fixed time. An end that nobody asked
// for, other than with status 0, pauses for longer each time; so does an end with status 0 before the first greeting
// while somebody waits, and a process that stops accepting so without having been allowed to leave. Whatever a process
// has said, it fails when it ends or stops accepting within a second of its making while somebody waits. All of these
// would otherwise be repeated without end. Those who wait are told at once, but for one case: a service that had
// served, or was allowed to leave, is started again for them if the pause is short. A client whose connection was
// accepted by a process that died before its greeting connects again by itself; within a moment it is told what it
// would have been told. A process that is rejected when it accepts is killed before anybody is told, so that it takes
// as few clients as can be.
//
// A process that has greeted nobody is not allowed to leave while somebody waits, so its end with status 0 is a failure
// then, however long it ran: those who wait may have waited since before it was made, and would see one process after
// the other come and go. If it stays, idle beside them, it is looked at as one that does not accept. When nobody waits
// as it says that it is idle, whoever waits later has come later, and waits for the next one.
//
// The world reports what a process says before it reports its end; calls about one that is gone are dropped. It calls
// connectionWaiting() at once, or soon, whenever the listener is watched and somebody waits, and each time again.
// tellWaiting() leaves nobody waiting of those who were.
#include "tolvend/LifeCycle.h"

#include <algorithm>
#include <cerrno>

#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;

}  // namespace

LifeCycle::LifeCycle(LifeCycleWorld& world, BackOff backOff, const LifeCycleTimes& times) noexcept
    : JobLife(world, backOff, times), world_(world) {}

void LifeCycle::serveWaiting(std::uint64_t now) {
  if (current_ != 0) {
    beginToLook(*find(current_), now);
  } else if (failureHistory().isToldAgain(now)) {
    world_.tellWaiting(*lastFailure());
  } else if (earliestStart() <= now) {
    spawn(now);
  } else {
    putOff(now);
  }
}

void LifeCycle::executionFailed(InstanceId instance, const StartFailure& failure, std::uint64_t now) {
  InstanceRecord* record = find(instance);
  if (record == nullptr || record->isExecuted) return;
  if (current_ == instance) current_ = 0;
  const bool isNews = !record->isAsked && !record->hasFailed;
  record->hasFailed = true;
  record->lookAt = never;
  record->killAt = std::min(record->killAt, now + times().ending);
  if (isNews) {
    StartFailure told = failure;
    told.instance = instance;
    failStart(told, now);
  }
  settle(now);
}

void LifeCycle::listening(InstanceId instance, std::uint64_t now) {
  InstanceRecord* record = find(instance);
  if (record == nullptr) return;
  record->isExecuted = true;
  record->saidListening = true;
  record->lookAt = never;
  settle(now);
}

void LifeCycle::greeted(InstanceId instance, std::uint64_t now) {
  if (InstanceRecord* record = find(instance)) record->hasGreeted = true;
  listening(instance, now);
}

void LifeCycle::saidIdle(InstanceId instance, std::uint64_t now) {
  InstanceRecord* record = find(instance);
  if (record == nullptr || record->state() == InstanceRecord::State::Stopping) return;
  if (!record->hasGreeted && world_.isAnybodyWaiting()) {
    // Whoever is there may just have come, and be accepted yet.
    record->mayLeave = false;
    if (record->lookAt == never) beginToLook(*record, now);
  } else {
    record->mayLeave = true;
    world_.letLeave(instance);
  }
  settle(now);
}

void LifeCycle::stoppedAccepting(InstanceId instance, std::uint64_t now) {
  InstanceRecord* record = find(instance);
  if (record == nullptr || record->saidStopped) return;
  if (current_ == instance) current_ = 0;
  const bool isFailure = record->leavesUnserved(now, times().shortRun) && world_.isAnybodyWaiting();
  const StartFailure failure = record->leaving(now);
  record->saidStopped = true;
  record->lookAt = never;
  record->killAt = std::min(record->killAt, now + times().ending);
  if (isFailure) {
    record->hasFailed = true;
    failRun(failure, now);
  }
  settle(now);
}

void LifeCycle::rejected(InstanceId instance, const std::string& why, std::uint64_t now) {
  InstanceRecord* record = find(instance);
  if (record == nullptr) return;
  const bool isNews = !record->isAsked && !record->hasFailed;
  record->isExecuted = true;
  record->hasFailed = true;
  record->lookAt = never;
  kill(*record);
  if (isNews) {
    StartFailure failure = record->failure(now);
    failure.stage = StartFailure::Stage::Confinement;
    failure.reason = why;
    failRun(failure, now);
  }
  settle(now);
}

void LifeCycle::ended(InstanceId instance, Ending ending, std::uint64_t now) {
  const std::optional<InstanceRecord> record = take(instance, now);
  if (!record) return;
  if (current_ == instance) current_ = 0;

  end_ = isCrash(ending) ? record->failure(now) : record->leaving(now);
  (ending.kind == Ending::Kind::Signalled ? end_.signal : end_.exitStatus) = ending.value;
  const bool isFailure = isCrash(ending) ? !record->isAsked && !record->hasFailed
                                         : record->leavesUnserved(now, times().shortRun) && world_.isAnybodyWaiting();
  if (isFailure) failRun(end_, now);
  settle(now);
}

void LifeCycle::listenerReplaced(std::uint64_t now) {
  // Whose doing it was is not known; but the current process, which has the old one, gets no client any more.
  if (InstanceRecord* record = find(current_)) {
    StartFailure failure = record->failure(now);
    failure.error = ESHUTDOWN;
    const bool isNews = !record->isAsked;
    current_ = 0;
    record->saidStopped = true;
    record->hasFailed = true;
    record->lookAt = never;
    if (isNews) failRun(failure, now);
    askToEnd(*record, now);
  }
  settle(now);
}

void LifeCycle::start(std::uint64_t now) {
  release();
  const InstanceRecord* record = find(current_);
  isStartWanted_ = record == nullptr || record->isAsked;
  settle(now);
}

void LifeCycle::restart(std::uint64_t now) {
  release();
  askAllToEnd(now);
  isStartWanted_ = true;
  settle(now);
}

void LifeCycle::endAll(std::uint64_t now) {
  isStartWanted_ = false;
  askAllToEnd(now);
}

LifeCycle::State LifeCycle::state() const noexcept {
  if (isRetired()) return instances().empty() ? State::Resting : State::Stopping;
  if (isHeld()) return State::Held;
  if (const InstanceRecord* record = find(current_)) {
    if (record->isAsked) return State::Stopping;
    return record->state() == InstanceRecord::State::Starting ? State::Starting : State::Running;
  }
  if (!hasBegun() || instances().size() >= limits::instancesPerJob) return State::Stopping;
  return earliestStart() != 0 ? State::Pausing : State::Resting;
}

bool LifeCycle::mayStart() const noexcept {
  return hasBegun() && !isRetired() && !isHeld() && current_ == 0 && instances().size() < limits::instancesPerJob;
}

bool LifeCycle::shallWatch() const noexcept {
  if (isRetired()) return false;
  if (isHeld()) return true;
  if (const InstanceRecord* record = find(current_)) {
    return !record->saidListening && !record->isAsked && record->lookAt == never;
  }
  return mayStart() && !isClientPatient();
}

void LifeCycle::spawn(std::uint64_t now) {
  isStartWanted_ = false;
  forgetPatience();
  InstanceRecord record;
  record.id = nextId();
  StartFailure failure;
  if (make(record, failure, now)) {
    current_ = record.id;
  } else {
    failStart(failure, now);
  }
}

void LifeCycle::failStart(const StartFailure& failure, std::uint64_t now) {
  const Failures::Pause pause = pauseOfFailure();
  failureHistory().startFailed(failure, pause, now);
  tellOfFailure(pause, now);
}

void LifeCycle::failRun(const StartFailure& failure, std::uint64_t now) {
  const Failures::Pause pause = pauseOfFailure();
  failureHistory().runFailed(failure, pause, now);
  tellOfFailure(pause, now);
}

void LifeCycle::tellOfFailure(Failures::Pause pause, std::uint64_t now) {
  const StartFailure& failure = *lastFailure();
  if (failure.stage != StartFailure::Stage::Serving) {
    world_.tellWaiting(failure);
  } else if (pause == Failures::Pause::Begins && failure.pause > times().patience && world_.isAnybodyWaiting()) {
    world_.tellWaiting(pauseAfter(failure, earliestStart(), now));
  }
}

Failures::Pause LifeCycle::pauseOfFailure() const noexcept {
  const InstanceRecord* record = find(current_);
  return record != nullptr && !record->hasFailed ? Failures::Pause::Unneeded : Failures::Pause::Begins;
}

void LifeCycle::giveTime(InstanceRecord& instance, std::uint64_t now) const noexcept {
  instance.acceptBy = now + times().listening;
  instance.lookAt = now + times().looking;
}

void LifeCycle::beginToLook(InstanceRecord& instance, std::uint64_t now) {
  // Whatever has changed before is nothing that it has done for them.
  static_cast<void>(world_.lookAtWaiting());
  giveTime(instance, now);
}

void LifeCycle::look(InstanceRecord& instance, std::uint64_t now) {
  const WaitingChange change = world_.lookAtWaiting();
  if (change == WaitingChange::Come) return giveTime(instance, now);
  if (change != WaitingChange::Accepted && now < instance.acceptBy) {
    instance.lookAt = std::min(now + times().looking, instance.acceptBy);
    return;
  }
  instance.lookAt = never;
  if (change == WaitingChange::Same) return failToAccept(instance, now);
  if (change == WaitingChange::Accepted) instance.hasAccepted = true;
  instance.seemsToAccept = instance.isExecuted;
}

void LifeCycle::failToAccept(InstanceRecord& instance, std::uint64_t now) {
  StartFailure failure = instance.failure(now);
  failure.stage = StartFailure::Stage::Listening;
  failure.error = ETIMEDOUT;
  failure.patience = times().listening;
  instance.hasFailed = true;
  failRun(failure, now);
  askToEnd(instance, now);
}

void LifeCycle::endPatience(std::uint64_t now) {
  if (mayStart() && world_.isAnybodyWaiting()) spawn(now);
}

void LifeCycle::catchUp(std::uint64_t now) {
  if (isStartWanted_ && mayStart()) spawn(now);
}

}  // namespace vanto::manager
