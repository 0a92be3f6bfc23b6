// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobLife.h"

#include <algorithm>
#include <utility>

namespace vanto::manager {

namespace {

constexpr std::uint64_t never = UINT64_MAX;

}  // namespace

JobLife::JobLife(JobWorld& world, BackOff backOff, const LifeCycleTimes& times) noexcept
    : world_(world), times_(times), failures_(backOff, times) {}

void JobLife::begin(std::uint64_t now) {
  hasBegun_ = true;
  settle(now);
}

void JobLife::connectionWaiting(std::uint64_t now) {
  if (!isWatching_) return;
  if (isHeld_) {
    world_.tellWaiting(failureOf(StartFailure::Stage::Held, now));
  } else {
    serveWaiting(now);
  }
  settle(now);
}

void JobLife::executed(InstanceId instance, std::uint64_t now) {
  InstanceRecord* record = find(instance);
  if (record == nullptr || record->isExecuted) return;
  record->isExecuted = true;
  if (record->lookAt != never) beginToLook(*record, now);
  settle(now);
}

void JobLife::timerExpired(std::uint64_t now) {
  timer_ = never;
  for (InstanceRecord& instance : instances_) {
    if (instance.lookAt <= now) look(instance, now);
    if (instance.killAt <= now) kill(instance);
  }
  settle(now);
}

void JobLife::stop(std::uint64_t now) {
  endAll(now);
  settle(now);
}

void JobLife::hold(std::uint64_t now) {
  if (isRetired_) return;
  isHeld_ = true;
  isClientPatient_ = false;
  endAll(now);
  world_.tellWaiting(failureOf(StartFailure::Stage::Held, now));
  settle(now);
}

void JobLife::retire(StartFailure::Stage told, std::uint64_t now) {
  if (isRetired_) return;
  isRetired_ = true;
  endAll(now);
  world_.tellWaiting(failureOf(told, now));
  settle(now);
}

InstanceRecord* JobLife::find(InstanceId instance) noexcept {
  const auto found = std::ranges::find(instances_, instance, &InstanceRecord::id);
  return found == instances_.end() ? nullptr : &*found;
}

const InstanceRecord* JobLife::find(InstanceId instance) const noexcept {
  const auto found = std::ranges::find(instances_, instance, &InstanceRecord::id);
  return found == instances_.end() ? nullptr : &*found;
}

std::optional<InstanceRecord> JobLife::take(InstanceId instance, std::uint64_t now) {
  const auto found = std::ranges::find(instances_, instance, &InstanceRecord::id);
  if (found == instances_.end()) return std::nullopt;
  const InstanceRecord record = *found;
  instances_.erase(found);
  failures_.runEnded(now - record.since);
  return record;
}

bool JobLife::make(InstanceRecord record, StartFailure& failure, std::uint64_t now) {
  if (!world_.spawn(record.id, failure)) return false;
  ++starts_;
  record.since = now;
  beginToLook(record, now);
  instances_.push_back(record);
  return true;
}

void JobLife::putOff(std::uint64_t now) {
  if (earliestStart() - now <= times_.patience) {
    isClientPatient_ = true;
  } else {
    world_.tellWaiting(pauseAfter(*lastFailure(), earliestStart(), now));
  }
}

void JobLife::release() noexcept {
  isHeld_ = false;
  isClientPatient_ = false;
  failures_.forget();
}

void JobLife::askToEnd(InstanceRecord& instance, std::uint64_t now) {
  if (instance.isAsked) return;
  instance.isAsked = true;
  instance.lookAt = never;
  instance.killAt = std::min(instance.killAt, now + times_.ending);
  world_.signal(instance.id, JobWorld::Signal::Terminate);
}

void JobLife::askAllToEnd(std::uint64_t now) {
  for (InstanceRecord& instance : instances_) askToEnd(instance, now);
}

void JobLife::kill(InstanceRecord& instance) {
  instance.killAt = never;
  instance.isAsked = true;
  world_.signal(instance.id, JobWorld::Signal::Kill);
}

std::uint64_t JobLife::nextDeadline() const noexcept {
  std::uint64_t next = earliestStart() == 0 ? never : earliestStart();
  for (const InstanceRecord& instance : instances_) next = std::min({next, instance.lookAt, instance.killAt});
  return next;
}

JobLife::Appearance JobLife::appearance() const noexcept {
  const auto running = std::ranges::count_if(
      instances_, [](const InstanceRecord& instance) { return instance.state() == InstanceRecord::State::Running; });
  return {state(), instances_.size(), static_cast<std::size_t>(running), starts_, failures_.count()};
}

void JobLife::settle(std::uint64_t now) {
  failures_.endPause(now);
  if (earliestStart() == 0 && std::exchange(isClientPatient_, false)) endPatience(now);
  catchUp(now);

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
