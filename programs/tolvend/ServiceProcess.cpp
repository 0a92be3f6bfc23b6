// SPDX-License-Identifier: Apache-2.0

// Four descriptors tell of a process: the status pipe whether the service was executed, the link what its library says,
// the socket behind its standard streams what it writes, and the descriptor of the process itself when it ends. They
// become ready in any order. What came before the end is told before it: at the end the other three are read dry first.
//
// Whoever says more on its link than any service has to is not read for the rest of the second. Its own records are
// late then, and nobody else notices; the kernel bounds what waits. It is not killed, since it harms only itself.
//
// The standard streams are one datagram socket, since a service outlives its manager for as long as it takes to finish
// what it holds: a pipe or a stream without a reader would kill it with a signal at its next line, whatever it
// does, and one that it can read itself would have it wait for ever. So each write is one datagram, of a bounded size.
#include "tolvend/ServiceProcess.h"

#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "value/limits.h"
#include "vantoproxy/ExecStatus.h"

namespace vanto::manager {

namespace {

/// More than one write can have where the buffers of sockets are as the kernel makes them; what is beyond is cut.
constexpr std::size_t datagramBytes = std::size_t{256} << 10;
/// Who has written that much has had his turn.
constexpr std::size_t turnBytes = std::size_t{64} << 10;
/// At the end of a process there may be others that write to its log for ever. More than a socket holds.
constexpr int lastTurn = 256;
constexpr std::size_t lastTurnBytes = std::size_t{1} << 20;
constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

struct Pair {
  Fd ours;
  Fd theirs;
};

/// Connected sockets. None with errno.
Pair socketPair(int type) noexcept {
  int ends[2];
  if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) != 0) return {};
  return {Fd(ends[0]), Fd(ends[1])};
}

Pair statusPipe() noexcept {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return {};
  return {Fd(ends[0]), Fd(ends[1])};
}

StartFailure::Stage stageOf(ExecStage stage) noexcept {
  using Stage = StartFailure::Stage;
  switch (stage) {
    case ExecStage::Call:
      return Stage::Call;
    case ExecStage::Handover:
      return Stage::Handover;
    case ExecStage::Descriptors:
      return Stage::Descriptors;
    case ExecStage::State:
      return Stage::ProcessState;
    case ExecStage::Executable:
      return Stage::Executable;
    case ExecStage::Execution:
      return Stage::Execution;
  }
  return Stage::Execution;
}

void signalProcess(const Fd& process, int signal) noexcept {
  syscall(SYS_pidfd_send_signal, process.get(), signal, nullptr, 0);
}

void fill(StartFailure& failure, StartFailure::Stage stage, int error) noexcept {
  failure.stage = stage;
  failure.error = error;
  failure.time = monotonicNow();
}

}  // namespace

struct ServiceProcess::Ends {
  Pair link = socketPair(SOCK_SEQPACKET);
  int linkError = errno;
  Pair output = socketPair(SOCK_DGRAM);
  int outputError = errno;
  Pair status = statusPipe();
  int statusError = errno;

  /// 0, or an errno value.
  [[nodiscard]] int error() const noexcept {
    if (!link.ours) return linkError;
    if (!output.ours) return outputError;
    return status.ours ? 0 : statusError;
  }
};

ServiceProcess::ServiceProcess(ServiceProcessOwner& owner, Alarms& alarms, InstanceId instance, LogRing& log)
    : owner_(owner),
      instance_(instance),
      log_(log),
      linkAllowance_(limits::managerLinkRecords, nanosecondsPerSecond),
      linkRest_(alarms, [this] {
        // For want of memory, for a moment.
        if (watchLink() != 0) linkRest_.set(deadlineAfter(nanosecondsPerSecond));
      }) {}

ServiceProcess::~ServiceProcess() = default;

bool ServiceProcess::start(const SpawnSetting& setting, const Start& start, StartFailure& failure) {
  using Stage = StartFailure::Stage;
  Ends ends;
  if (const int error = ends.error(); error != 0) {
    fill(failure, Stage::Resources, error);
    return false;
  }
  static_cast<void>(sendManagerRecord(ends.link.ours.get(), ManagerRecordKind::Settings, start.idle));
  const SpawnRequest request{.program = start.program,
                             .name = start.name,
                             .service = start.service,
                             .link = ends.link.theirs.get(),
                             .status = ends.status.theirs.get(),
                             .log = ends.output.theirs.get()};
  Spawned spawned;
  if (const SpawnError error = spawn(setting, request, spawned); error.step != SpawnError::Step::None) {
    fill(failure, error.step == SpawnError::Step::Proxy ? Stage::Proxy : Stage::Resources, error.error);
    return false;
  }
  pid_ = spawned.pid;
  since_ = realtimeNow();
  process_ = std::move(spawned.process);
  link_ = std::move(ends.link.ours);
  output_ = std::move(ends.output.ours);
  status_ = std::move(ends.status.ours);
  const int error = watchAll();
  if (error == 0) return true;
  // What nobody watches must not run.
  abandon(error, failure);
  return false;
}

void ServiceProcess::abandon(int error, StartFailure& failure) noexcept {
  processWatch_.stop();
  statusWatch_.stop();
  linkWatch_.stop();
  outputWatch_.stop();
  signalProcess(process_, SIGKILL);
  // It may lead a group already, without having been heard of; it is not reaped, so the number can be no other's.
  ::kill(-pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  fill(failure, StartFailure::Stage::Resources, error);
}

int ServiceProcess::watchAll() {
  int error = processWatch_.start(process_.get(), EPOLLIN, [this](std::uint32_t) { end(); });
  if (error == 0) error = statusWatch_.start(status_.get(), EPOLLIN, [this](std::uint32_t) { readStatus(); });
  if (error == 0) error = watchLink();
  if (error == 0) error = outputWatch_.start(output_.get(), EPOLLIN, [this](std::uint32_t) { readLog(Turn::Short); });
  return error;
}

int ServiceProcess::watchLink() {
  return linkWatch_.start(link_.get(), EPOLLIN, [this](std::uint32_t) { readLink(Turn::Short); });
}

void ServiceProcess::restLink() {
  linkWatch_.stop();
  linkRest_.set(linkAllowance_.renewal());
  if (std::exchange(hasToldOfRest_, true)) return;
  log_.add({realtimeNow(), getpid(),
            "the service says more than " + std::to_string(limits::managerLinkRecords) +
                " things a second to its manager, which takes its time"});
}

void ServiceProcess::terminate() const noexcept {
  signalProcess(process_, SIGTERM);
}

void ServiceProcess::kill() const noexcept {
  signalProcess(process_, SIGKILL);
  killGroup();
}

/// The process is not reaped yet, so the number can be no other group's.
void ServiceProcess::killGroup() const noexcept {
  if (isExecuted_) ::kill(-pid_, SIGKILL);
}

void ServiceProcess::letLeave() const noexcept {
  // There is room, or the service takes nothing and loses nothing by it.
  if (link_) static_cast<void>(sendManagerRecord(link_.get(), ManagerRecordKind::Leave));
}

/// Reads the pipe, which is at its end or holds a record as soon as there is anything to read.
void ServiceProcess::readStatus() {
  if (!status_) return;
  ExecRecord record{};
  const ssize_t count = read(status_.get(), &record, sizeof record);
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  statusWatch_.stop();
  status_.reset();
  if (count == static_cast<ssize_t>(sizeof record)) {
    StartFailure failure;
    fill(failure, stageOf(record.stage), record.error);
    owner_.executionFailed(instance_, failure);
    return;
  }
  isExecuted_ = true;
  owner_.executed(instance_);
}

void ServiceProcess::readLink(Turn turn) {
  // At most one record of each kind is meant to come, and who sends more shall not keep others waiting.
  const int most = turn == Turn::Short ? limits::managerLogTurn : limits::managerLinkRecords;
  for (int i = 0; link_ && i < most; i++) {
    ManagerRecord record;
    std::string text;
    const ManagerRecordResult result = receiveManagerRecord(link_.get(), record, text);
    if (result == ManagerRecordResult::Nothing) return;
    if (result == ManagerRecordResult::Ended) {
      linkWatch_.stop();
      link_.reset();
      return;
    }
    if (turn == Turn::Short && !linkAllowance_.use(monotonicNow())) restLink();
    // Who speaks was executed; the pipe may have become ready later than the link.
    readStatus();
    if (result == ManagerRecordResult::Record) tell(record, text);
    if (linkRest_.isSet()) return;
  }
}

void ServiceProcess::tell(const ManagerRecord& record, std::string_view text) {
  if (record.kind == ManagerRecordKind::Receipt) {
    owner_.sentReceipt(instance_, text);
  } else {
    owner_.said(instance_, record.kind);
  }
}

void ServiceProcess::readLog(Turn turn) {
  char piece[datagramBytes];
  std::size_t bytes = 0;
  for (int i = 0; i < (turn == Turn::Short ? limits::managerLogTurn : lastTurn); i++) {
    if (bytes >= (turn == Turn::Short ? turnBytes : lastTurnBytes)) return;
    const ssize_t count = recv(output_.get(), piece, sizeof piece, MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return;
    bytes += static_cast<std::size_t>(count);
    assembly_.add(log_, pid_, {piece, static_cast<std::size_t>(count)});
  }
}

void ServiceProcess::end() {
  siginfo_t facts{};
  // Looked at and not yet reaped: as long as it is a zombie, its number and its group's are its own.
  const int options = WEXITED | WNOWAIT | WNOHANG;
  if (waitid(P_PID, static_cast<id_t>(pid_), &facts, options) != 0 || facts.si_pid != pid_) return;
  readStatus();
  killGroup();
  linkRest_.set(UINT64_MAX);
  readLink(Turn::ToTheEnd);
  readLog(Turn::ToTheEnd);
  assembly_.finish(log_, pid_);
  processWatch_.stop();
  linkWatch_.stop();
  statusWatch_.stop();
  outputWatch_.stop();
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  const bool hasExited = facts.si_code == CLD_EXITED;
  owner_.ended(instance_, {hasExited ? Ending::Kind::Exited : Ending::Kind::Signalled, facts.si_status});
}

}  // namespace vanto::manager
