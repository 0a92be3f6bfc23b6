// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobController.h"

#include <algorithm>

#include <sys/random.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "ipc/PeerCredentials.h"
#include "ipc/SocketName.h"
#include "runtime/LogText.h"

namespace vanto::manager {

namespace {

/// As many processes that have ended are remembered.
constexpr std::size_t rememberedPids = 64;

std::uint64_t randomSeed() noexcept {
  std::uint64_t seed = 0;
  // Where the kernel has no chance to give, chance matters little.
  static_cast<void>(getrandom(&seed, sizeof seed, GRND_NONBLOCK));
  return seed;
}

}  // namespace

template <typename Function>
decltype(auto) JobController::withLifeCycle(Function function) {
  if (auto* multiple = std::get_if<MultipleLifeCycle>(&lifeCycle_)) return function(*multiple);
  return function(std::get<LifeCycle>(lifeCycle_));
}

template <typename Function>
decltype(auto) JobController::withLifeCycle(Function function) const {
  if (const auto* multiple = std::get_if<MultipleLifeCycle>(&lifeCycle_)) return function(*multiple);
  return function(std::get<LifeCycle>(lifeCycle_));
}

JobController::JobController(Job job, JobSurroundings& surroundings, std::function<void()> changed)
    : job_(std::move(job)),
      file_(socketFileName(job_.name)),
      surroundings_(surroundings),
      changed_(std::move(changed)),
      listener_(
          surroundings.alarms, surroundings.spare,
          [this] { withLifeCycle([](auto& life) { life.connectionWaiting(monotonicNow()); }); },
          [this] { listenerReplaced(); }),
      timer_(surroundings.alarms, [this] { timeHasCome(); }) {
  const BackOff backOff(randomSeed());
  if (job_.isMultiple) {
    MultipleLifeCycleWorld& world = *this;
    lifeCycle_.emplace<MultipleLifeCycle>(world, surroundings_.limit, backOff, surroundings_.times);
  } else {
    LifeCycleWorld& world = *this;
    lifeCycle_.emplace<LifeCycle>(world, backOff, surroundings_.times);
  }
}

JobController::~JobController() {
  for (const auto& [instance, running] : running_) {
    if (running.process) surroundings_.children.erase(running.process->pid(), monotonicNow());
  }
}

std::string JobController::open(int directory, PublishedSocket::Access access, PublishedSocket::Rival rival) {
  std::string error = listener_.open(directory, file_, access, rival);
  if (error.empty()) surroundings_.sockets.put(file_);
  return error;
}

void JobController::listenerReplaced() {
  surroundings_.sockets.put(file_);
  log_.add({realtimeNow(), getpid(), "the listening socket was shut down by a process, and is replaced"});
  if (auto* life = std::get_if<LifeCycle>(&lifeCycle_)) life->listenerReplaced(monotonicNow());
}

void JobController::begin() {
  withLifeCycle([](auto& life) { life.begin(monotonicNow()); });
  changed_();
}

bool JobController::hasBegun() const {
  return withLifeCycle([](const auto& life) { return life.hasBegun(); });
}

void JobController::start() {
  withLifeCycle([](auto& life) { life.start(monotonicNow()); });
}

void JobController::stop() {
  withLifeCycle([](auto& life) { life.stop(monotonicNow()); });
}

void JobController::restart() {
  withLifeCycle([](auto& life) { life.restart(monotonicNow()); });
}

void JobController::hold() {
  withLifeCycle([](auto& life) { life.hold(monotonicNow()); });
}

void JobController::retire(StartFailure::Stage told) {
  withLifeCycle([=](auto& life) { life.retire(told, monotonicNow()); });
  listener_.close();
}

std::vector<JobController::Instance> JobController::instances() const {
  std::vector<Instance> found;
  withLifeCycle([&](const auto& life) {
    for (const InstanceRecord& record : life.instances()) {
      const auto place = running_.find(record.id);
      if (place == running_.end() || !place->second.process) continue;
      const ServiceProcess& process = *place->second.process;
      Instance instance{record.id, process.pid(), record.state(), record.isExecuted, process.since(), {}, {}};
      if (record.saidListening) instance.confinement = ConfinementLevel::None;
      if (const auto& receipt = place->second.receipt) {
        instance.confinement = receipt->level;
        instance.receipt = receipt->text;
      }
      found.push_back(std::move(instance));
    }
  });
  return found;
}

LifeCycle::State JobController::state() const {
  return withLifeCycle([](const auto& life) { return life.state(); });
}

bool JobController::isEmpty() const {
  return withLifeCycle([](const auto& life) { return life.isEmpty(); });
}

std::uint64_t JobController::earliestStart() const {
  return withLifeCycle([](const auto& life) { return life.earliestStart(); });
}

std::uint64_t JobController::starts() const {
  return withLifeCycle([](const auto& life) { return life.starts(); });
}

std::uint64_t JobController::failures() const {
  return withLifeCycle([](const auto& life) { return life.failures(); });
}

const StartFailure* JobController::lastFailure() const {
  return withLifeCycle([](const auto& life) { return life.lastFailure(); });
}

bool JobController::isStartWanted() const noexcept {
  const auto* life = std::get_if<LifeCycle>(&lifeCycle_);
  return life != nullptr && life->isStartWanted();
}

const StartFailure* JobController::lastEnd() const noexcept {
  const auto* life = std::get_if<LifeCycle>(&lifeCycle_);
  return life != nullptr ? life->lastEnd() : nullptr;
}

pid_t JobController::pidOf(const StartFailure& failure) const noexcept {
  const auto place =
      std::find_if(pids_.begin(), pids_.end(), [&](const auto& each) { return each.first == failure.instance; });
  return place != pids_.end() && failure.instance != 0 ? place->second : 0;
}

void JobController::addToLog(pid_t pid, std::string_view line) {
  for (const auto& [instance, running] : running_) {
    if (running.process && running.process->pid() == pid) log_.add({realtimeNow(), pid, std::string(line)});
  }
}

// What the life cycles ask for.

void JobController::watchListener(bool shallWatch) {
  listener_.watch(shallWatch);
}

bool JobController::isAnybodyWaiting() {
  return listener_.isAnybodyWaiting();
}

bool JobController::accept(InstanceId instance, uid_t& user) {
  Accepted accepted = listener_.accept();
  if (accepted.result == Accepted::Result::NoDescriptor) {
    StartFailure failure;
    failure.error = accepted.error;
    tellWaiting(failure);
  }
  ProcessFacts facts;
  if (!accepted.socket || !readPeerCredentials(accepted.socket.get(), facts)) return false;
  user = facts.effectiveUser;
  running_[instance].connection = std::move(accepted.socket);
  return true;
}

bool JobController::spawn(InstanceId instance, StartFailure& failure) {
  Running& running = running_[instance];
  ServiceProcessOwner& owner = *this;
  auto process = std::make_unique<ServiceProcess>(owner, instance, log_);
  const ServiceProcess::Start start{.program = job_.program.c_str(),
                                    .name = file_,
                                    .service = job_.isMultiple ? running.connection.get() : listener_.descriptor(),
                                    .idle = job_.leavesWhenIdle ? surroundings_.idle : 0};
  bool isStarted = process->start(surroundings_.spawn, start, failure);
  if (isStarted) {
    // After a manager that is killed nobody would end, or wait for, what is not written down.
    if (const int error = surroundings_.records.put(process->pid(), file_); error != 0) {
      process->abandon(error, failure);
      isStarted = false;
    }
  }
  if (!isStarted) {
    if (!running.connection) running_.erase(instance);
    return false;
  }
  running.process = std::move(process);
  const pid_t pid = running.process->pid();
  surroundings_.children.insert(pid);
  pids_.emplace_back(instance, pid);
  if (pids_.size() > rememberedPids) pids_.pop_front();
  return true;
}

JobListener::Refusal JobController::refusalOf(const StartFailure& failure) const {
  JobListener::Refusal refusal;
  refusal.code = failure.stage == StartFailure::Stage::Limit ? VANTO_ERROR_FULL : VANTO_ERROR_START;
  refusal.text = job_.label + ": not started: " + failureText(failure);
  if (const LogLine* line = log_.last())
    refusal.confidential = "; its log ends with: " + std::string(LogText(line->text).utf8());
  return refusal;
}

void JobController::refuse(InstanceId instance, const StartFailure& failure) {
  const auto place = running_.find(instance);
  if (place == running_.end()) return;
  if (place->second.connection) JobListener::refuse(place->second.connection.get(), refusalOf(failure));
  forget(instance);
}

void JobController::forget(InstanceId instance) {
  const auto place = running_.find(instance);
  if (place == running_.end()) return;
  place->second.connection.reset();
  if (!place->second.process) running_.erase(place);
}

void JobController::tellWaiting(const StartFailure& failure) {
  listener_.refuseAll(refusalOf(failure));
}

void JobController::signal(InstanceId instance, LifeCycleWorld::Signal signal) {
  const auto place = running_.find(instance);
  if (place == running_.end() || !place->second.process) return;
  const ServiceProcess& process = *place->second.process;
  signal == LifeCycleWorld::Signal::Kill ? process.kill() : process.terminate();
}

void JobController::letLeave(InstanceId instance) {
  const auto place = running_.find(instance);
  if (place != running_.end() && place->second.process) place->second.process->letLeave();
}

void JobController::setTimer(std::uint64_t deadline) {
  timer_.set(deadline);
}

void JobController::changed() {
  changed_();
}

// What processes tell.

void JobController::executed(InstanceId instance) {
  withLifeCycle([=](auto& life) { life.executed(instance, monotonicNow()); });
  changed_();
}

void JobController::executionFailed(InstanceId instance, const StartFailure& failure) {
  withLifeCycle([&](auto& life) { life.executionFailed(instance, failure, monotonicNow()); });
}

void JobController::sentReceipt(InstanceId instance, std::string_view receipt) {
  const auto place = running_.find(instance);
  // The first one counts.
  if (place == running_.end() || place->second.receipt) return;
  place->second.receipt = InstanceReceipt::read(receipt);
  changed_();
}

bool JobController::isFit(InstanceId instance) {
  const auto place = running_.find(instance);
  if (place == running_.end()) return true;
  const std::optional<InstanceReceipt>& receipt = place->second.receipt;
  if ((receipt ? receipt->level : ConfinementLevel::None) >= surroundings_.floor) return true;
  const std::string why = shortfall(receipt ? &*receipt : nullptr, surroundings_.floor);
  withLifeCycle([&](auto& life) { life.rejected(instance, why, monotonicNow()); });
  return false;
}

void JobController::timeHasCome() {
  withLifeCycle([](auto& life) { life.timerExpired(monotonicNow()); });
  // Who never says that it listens is seen to accept, if at all, by now.
  for (const Instance& instance : instances()) {
    if (instance.state == InstanceRecord::State::Running) static_cast<void>(isFit(instance.id));
  }
}

void JobController::said(InstanceId instance, ManagerRecordKind kind) {
  const bool isAccepting = kind == ManagerRecordKind::Listening || kind == ManagerRecordKind::Greeted;
  if (isAccepting && !isFit(instance)) return;
  const std::uint64_t now = monotonicNow();
  switch (kind) {
    case ManagerRecordKind::Listening:
      return withLifeCycle([=](auto& life) { life.listening(instance, now); });
    case ManagerRecordKind::Greeted:
      return withLifeCycle([=](auto& life) { life.greeted(instance, now); });
    case ManagerRecordKind::Stopped:
      return withLifeCycle([=](auto& life) { life.stoppedAccepting(instance, now); });
    case ManagerRecordKind::Idle:
      // An instance of its own ends with its connection.
      if (auto* life = std::get_if<LifeCycle>(&lifeCycle_)) life->saidIdle(instance, now);
      return;
    default:
      return;
  }
}

void JobController::ended(InstanceId instance, Ending ending) {
  const auto place = running_.find(instance);
  const pid_t pid = place->second.process->pid();
  surroundings_.children.erase(pid, monotonicNow());
  surroundings_.records.remove(pid);
  // Until the end of this function, which its process has called.
  const std::unique_ptr<ServiceProcess> process = std::move(place->second.process);
  if (!place->second.connection) running_.erase(place);
  withLifeCycle([=](auto& life) { life.ended(instance, ending, monotonicNow()); });
  changed_();
}

}  // namespace vanto::manager
