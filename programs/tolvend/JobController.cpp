// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobController.h"

#include <algorithm>
#include <cerrno>

#include <sys/random.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "ipc/PeerCredentials.h"
#include "ipc/SocketName.h"
#include "value/limits.h"

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

JobController::JobController(Job job, JobSurroundings& surroundings, std::function<void()> changed)
    : job_(std::move(job)),
      file_(socketFileName(job_.name)),
      surroundings_(surroundings),
      changed_(std::move(changed)),
      listener_(
          surroundings.alarms, surroundings.spare, [this] { life_->connectionWaiting(monotonicNow()); },
          [this] { listenerReplaced(); }),
      timer_(surroundings.alarms, [this] { timeHasCome(); }) {
  const BackOff backOff(randomSeed());
  if (job_.isMultiple) {
    MultipleLifeCycleWorld& world = *this;
    life_ = std::make_unique<MultipleLifeCycle>(world, surroundings_.limit, backOff, surroundings_.times);
  } else {
    LifeCycleWorld& world = *this;
    auto single = std::make_unique<LifeCycle>(world, backOff, surroundings_.times);
    single_ = single.get();
    life_ = std::move(single);
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

void JobController::lookAfterSocket() {
  // What was in the way may be gone.
  if (listener_.isUnbound()) return listener_.bindAnew();
  if (!listener_.isLost()) return;
  const int error = surroundings_.sockets.restore(file_);
  if (error == ENOTSOCK) return noteLoss("move " + listener_.path() + " away, which is none");
  // The second link was lost as well, or never was there.
  if (error != 0 || listener_.isLost()) {
    isMovingOn_ = true;
    listener_.bindAnew();
  } else {
    noteLoss("");
  }
}

void JobController::noteLoss(const std::string& obstacle) {
  const bool isMended = obstacle.empty();
  std::string text = "the listening socket was removed or replaced by somebody";
  text += isMended ? ", and is published again" : "; " + obstacle;
  const std::uint64_t now = realtimeNow();
  if (lossLog_.isDue(isMended, monotonicNow())) log_.add({now, getpid(), text});
  loss_ = SocketLoss{std::move(text), now, isMended};
  changed_();
}

void JobController::listenerReplaced() {
  surroundings_.sockets.put(file_);
  if (std::exchange(isMovingOn_, false)) {
    noteLoss("");
    // It has the old one, at which nobody can come any more.
    if (single_ != nullptr) single_->stop(monotonicNow());
    return;
  }
  log_.add({realtimeNow(), getpid(), "the listening socket was shut down by a process, and is replaced"});
  if (single_ != nullptr) single_->listenerReplaced(monotonicNow());
}

void JobController::begin() {
  life_->begin(monotonicNow());
  changed_();
}

bool JobController::hasBegun() const {
  return life_->hasBegun();
}

void JobController::start() {
  life_->start(monotonicNow());
}

void JobController::stop() {
  life_->stop(monotonicNow());
}

void JobController::restart() {
  life_->restart(monotonicNow());
}

void JobController::hold() {
  life_->hold(monotonicNow());
}

void JobController::retire(StartFailure::Stage told) {
  life_->retire(told, monotonicNow());
  listener_.close();
}

std::vector<JobController::Instance> JobController::instances() const {
  std::vector<Instance> found;
  for (const InstanceRecord& record : life_->instances()) {
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
  return found;
}

LifeCycle::State JobController::state() const {
  return life_->state();
}

bool JobController::isEmpty() const {
  return life_->isEmpty();
}

std::uint64_t JobController::earliestStart() const {
  return life_->earliestStart();
}

std::uint64_t JobController::starts() const {
  return life_->starts();
}

std::uint64_t JobController::failures() const {
  return life_->failures();
}

const StartFailure* JobController::lastFailure() const {
  return life_->lastFailure();
}

bool JobController::isStartWanted() const noexcept {
  return single_ != nullptr && single_->isStartWanted();
}

const StartFailure* JobController::lastEnd() const noexcept {
  return single_ != nullptr ? single_->lastEnd() : nullptr;
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

WaitingChange JobController::lookAtWaiting() {
  return listener_.lookAtWaiting();
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
  auto process = std::make_unique<ServiceProcess>(owner, surroundings_.alarms, instance, log_);
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
  if (log_.last() != nullptr) {
    refusal.confidential = "; its log ends with: ";
    const std::size_t taken = refusal.text.size() + refusal.confidential.size();
    refusal.confidential += log_.ending(limits::ipcRefusalTextBytes - std::min(limits::ipcRefusalTextBytes, taken));
  }
  return refusal;
}

bool JobController::hasClientLeft(InstanceId instance) {
  const auto place = running_.find(instance);
  return place != running_.end() && JobListener::hasLeft(place->second.connection.get());
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

void JobController::signal(InstanceId instance, JobWorld::Signal signal) {
  const auto place = running_.find(instance);
  if (place == running_.end() || !place->second.process) return;
  const ServiceProcess& process = *place->second.process;
  signal == JobWorld::Signal::Kill ? process.kill() : process.terminate();
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
  life_->executed(instance, monotonicNow());
  changed_();
}

void JobController::executionFailed(InstanceId instance, const StartFailure& failure) {
  life_->executionFailed(instance, failure, monotonicNow());
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
  life_->rejected(instance, why, monotonicNow());
  return false;
}

void JobController::timeHasCome() {
  life_->timerExpired(monotonicNow());
  // Who never says that it listens is seen to accept, if at all, by now.
  for (const Instance& instance : instances()) {
    if (instance.state != InstanceRecord::State::Running) continue;
    // Who was seen to accept may have told of its confinement before, unread.
    const auto place = running_.find(instance.id);
    if (place != running_.end() && place->second.process) place->second.process->readRecords();
    static_cast<void>(isFit(instance.id));
  }
}

void JobController::said(InstanceId instance, ManagerRecordKind kind) {
  const bool isAccepting = kind == ManagerRecordKind::Listening || kind == ManagerRecordKind::Greeted;
  if (isAccepting && !isFit(instance)) return;
  const std::uint64_t now = monotonicNow();
  switch (kind) {
    case ManagerRecordKind::Listening:
      return life_->listening(instance, now);
    case ManagerRecordKind::Greeted:
      return life_->greeted(instance, now);
    case ManagerRecordKind::Stopped:
      return life_->stoppedAccepting(instance, now);
    case ManagerRecordKind::Idle:
      // An instance of its own ends with its connection.
      if (single_ != nullptr) single_->saidIdle(instance, now);
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
  life_->ended(instance, ending, monotonicNow());
  changed_();
}

}  // namespace vanto::manager
