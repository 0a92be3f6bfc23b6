// SPDX-License-Identifier: Apache-2.0

// A life of a manager: it gives its process a known state, takes charge of its domain, ends what a manager before it
// has left, loads the jobs, listens for orders, says that it is ready, and from then on only reacts. Asked to end, it
// ends its services, and leaves when the last one is gone. The jobs stay on disk for the next manager.
#include "tolvend/Manager.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <VantoService/dispatch.h>

#include "dispatch/Pool.h"
#include "dispatch/Workers.h"
#include "ipc/SocketName.h"
#include "tolvend/Account.h"
#include "tolvend/ErrorNumber.h"
#include "tolvend/JobIntake.h"
#include "tolvend/ReadyNotice.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

/// In nanoseconds. What was killed ends soon, unless the system itself keeps it.
constexpr std::uint64_t patienceWithStrays = 2'000'000'000;

/// Descriptors that jobs of a manager before are not restored with: for connections of those who give orders, and what
/// an order or a start needs for a moment.
constexpr int descriptorsForOrders = 16;

}  // namespace

Manager::Manager(Options options, LifeCycleTimes times)
    : options_(std::move(options)),
      times_(times),
      guard_(
          alarms_,
          [this](const std::string& file) {
            if (file.empty() || file == ordersFile_) lookAfterOrdersSocket();
            jobs_->fileTouched(file);
          },
          [this] { lookAfterDirectory(); }),
      strays_(children_),
      sweeping_(alarms_, [this] { sweep(); }),
      leaving_(alarms_, [this] { endIfEmpty(); }),
      killing_(alarms_, [this] { ephemeral_.kill(); }) {}

int Manager::failed(const std::string& line, int status) {
  messages_.say(line);
  return status;
}

void Manager::run() {
  Failure failure = prepare();
  if (!failure) failure = takeCharge();
  if (!failure) failure = openStore();
  if (failure) leave(*failure);
  makeJobs();
  // Before the jobs, of which there may be more than descriptors.
  failure = publishOrders();
  if (failure) leave(*failure);
  guardSockets();
  restoreJobs();
  offerLogSocket();
  sendReadyNotice();
  failure = runCommand();
  if (failure) end(*failure);
  dispatch_main();
}

Manager::Failure Manager::prepare() {
  if (const std::string error = prepareProcess(former_); !error.empty()) return failed(error);
  if (!options_.ephemeral.empty()) {
    const std::string error = ephemeral_.prepare(options_.ephemeral);
    if (!error.empty()) return failed(error);
  } else if (chdir("/") != 0) {
    return failed("the root cannot be entered: " + errorNumberText(errno));
  }
  if (options_.domain == Domain::System) {
    const std::string error = becomeAccount(options_.account);
    if (!error.empty()) return failed(error);
  }
  Pool::shared().useOnlyMainThread();
  signals_ = openSignals();
  int error = signals_ ? alarms_.open() : errno;
  if (error == 0) error = signalsWatch_.start(signals_.get(), EPOLLIN, [this](std::uint32_t) { readSignals(); });
  if (error == 0) error = strays_.adopt();
  if (error != 0) return failed("the system lacks something: " + errorNumberText(error));
  // Orphans that came to the manager while their service ran have no signal of their own.
  children_.observeEnds([this] { sweeping_.set(0); });
  spare_.emplace();
  spawn_.proxy = options_.proxy;
  spawn_.environment = serviceEnvironment(options_.keep);
  spawn_.descriptors = former_.descriptors;
  spawn_.shallSetDescriptors = former_.hasRaisedDescriptors;
  return {};
}

Manager::Failure Manager::takeCharge() {
  directory_ = takeDirectory(options_.domain);
  if (directory_.state == ManagerDirectory::State::Taken) return {};
  const bool isInUse = directory_.state == ManagerDirectory::State::InUse;
  return failed(directory_.error, isInUse ? ExitStatus::InUse : ExitStatus::Failed);
}

Manager::Failure Manager::openStore() {
  store_.emplace(Fd(fcntl(directory_.own.get(), F_DUPFD_CLOEXEC, 0)));
  if (const StoreFailure failure = store_->prepare()) return failed(storeFailureText(failure));
  if (const int error = records_.open(directory_.own.get()); error != 0) {
    return failed("processes: " + errorNumberText(error));
  }
  Fd domain(fcntl(directory_.domain.get(), F_DUPFD_CLOEXEC, 0));
  if (const int error = sockets_.open(std::move(domain), directory_.own.get()); error != 0) {
    return failed("sockets: " + errorNumberText(error));
  }
  return {};
}

void Manager::makeJobs() {
  formerProcesses_.emplace(alarms_, records_, times_.ending);
  const JobSurroundings surroundings{alarms_, *spare_,   spawn_, records_,      sockets_,
                                     limit_,  children_, times_, options_.idle, options_.floor};
  jobs_.emplace(surroundings, *store_, *formerProcesses_, sockets_, options_.domain, directory_.domain.get());
  orders_.emplace(alarms_, *jobs_, options_.domain);
  jobs_->observe([this](const std::string& label) {
    orders_->jobChanged(label);
    endIfEmpty();
  });
}

/// The library takes a listening socket that was handed to the process, under whatever directory it is bound.
Manager::Failure Manager::publishOrders() {
  const std::string name = ordersName(options_.domain);
  ordersFile_ = socketFileName(name);
  const auto access =
      options_.domain == Domain::System ? PublishedSocket::Access::Everybody : PublishedSocket::Access::Owner;
  // Whoever holds the lock is the manager.
  const vanto_error_code_t code =
      ordersSocket_.openShared(directory_.domain.get(), ordersFile_, access, PublishedSocket::Rival::Replace);
  if (code != VANTO_ERROR_NONE || dup2(ordersSocket_.descriptor(), serviceDescriptor) < 0) {
    return failed("the socket for orders, " + ordersFile_ + ", cannot be made: " + errorNumberText(errno));
  }
  sockets_.put(ordersFile_);
  setenv("LISTEN_FDS", "1", 1);
  setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  setenv("LISTEN_FDNAMES", name.c_str(), 1);
  vanto_set_connections_per_user(limits::managerConnectionsPerUser);
  orders_->listen();
  return {};
}

void Manager::guardSockets() {
  const int error = guard_.start(directory_.domain.get());
  if (error != 0) messages_.say("sockets that are removed are not noticed: " + errorNumberText(error));
}

void Manager::lookAfterOrdersSocket() {
  if (ordersSocket_.isPublished()) return;
  int error = sockets_.restore(ordersFile_);
  // The second link was somebody else's by now.
  if (error == 0 && !ordersSocket_.isPublished()) error = ENOENT;
  if (!ordersLossLog_.isDue(error == 0, monotonicNow())) return;
  messages_.say(
      "the socket for orders was removed or replaced by somebody, and " +
      (error == 0 ? "is published again"
                  : "cannot be published again: " + errorNumberText(error) + "; end the manager and start it again"));
}

/// Nobody finds the sockets any more, and the lock keeps no other manager away.
void Manager::lookAfterDirectory() {
  if (isEnding_ || killing_.isSet() || !isLost(directory_)) return;
  messages_.say("the directory " + directory_.path +
                ", or .tolvend in it, was removed or moved away, so the manager ends; start it again");
  obeyEnd(ExitStatus::Failed);
}

void Manager::restoreJobs() {
  formerProcesses_->end([this] {
    jobs_->beginWhatCan();
    endIfEmpty();
  });
  std::vector<Fd> reserve(descriptorsForOrders);
  for (Fd& descriptor : reserve) descriptor.reset(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
  for (const std::string& problem : jobs_->restore()) messages_.say(problem);
}

void Manager::offerLogSocket() {
  if (options_.logSocket.empty()) return;
  log_.emplace([this](pid_t pid, std::string_view line) {
    for (const auto& [label, job] : jobs_->all()) job->addToLog(pid, line);
  });
  if (const std::string error = log_->open(options_.logSocket); !error.empty()) {
    messages_.say("the log socket " + options_.logSocket + " is not offered: " + error);
    log_.reset();
  }
}

Manager::Failure Manager::runCommand() {
  if (options_.command.empty()) {
    former_.input.reset();
    return {};
  }
  strays_.expectOthers();
  // The command gets the limit that the manager was given.
  rlimit raised{};
  getrlimit(RLIMIT_NOFILE, &raised);
  setrlimit(RLIMIT_NOFILE, &former_.descriptors);
  const std::string error =
      ephemeral_.run(options_.command, former_.input.get(), [this](int status) { commandEnded(status); });
  setrlimit(RLIMIT_NOFILE, &raised);
  former_.input.reset();
  if (error.empty()) return {};
  return failed(error, 127);
}

/// Whoever asks again is in a hurry.
void Manager::endCommand() {
  if (killing_.isSet()) return ephemeral_.kill();
  ephemeral_.terminate();
  killing_.set(deadlineAfter(times_.ending));
}

void Manager::commandEnded(int status) {
  killing_.set(UINT64_MAX);
  end(isEnding_ && status_ != ExitStatus::Ended ? status_ : status);
}

void Manager::readSignals() {
  signalfd_siginfo facts{};
  bool shallEnd = false;
  while (read(signals_.get(), &facts, sizeof facts) == static_cast<ssize_t>(sizeof facts)) {
    shallEnd = shallEnd || facts.ssi_signo != SIGCHLD;
  }
  sweep();
  if (shallEnd) obeyEnd(ExitStatus::Ended);
}

void Manager::obeyEnd(int status) {
  if (ephemeral_.pid() != 0) return endCommand();
  end(status);
}

void Manager::end(int status) {
  status_ = status;
  if (std::exchange(isEnding_, true)) return;
  jobs_->retireAll();
  leaving_.set(0);
}

void Manager::endIfEmpty() {
  if (!isEnding_ || !jobs_->isEmpty() || !formerProcesses_->isEmpty()) return;
  leave(status_);
}

void Manager::leave(int status) {
  strays_.sweepAll(ephemeral_.pid(), patienceWithStrays);
  ordersSocket_.close();
  if (!ordersFile_.empty()) sockets_.remove(ordersFile_);
  log_.reset();
  ephemeral_.remove();
  // Nothing that is still in hand is anybody's business, and what lives as long as the process needs no end.
  std::_Exit(status);
}

}  // namespace vanto::manager
