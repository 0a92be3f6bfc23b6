// SPDX-License-Identifier: Apache-2.0

// The socket is in the set of watched descriptors as long as it is open; whether clients are told of is a matter of the
// events that are asked for. Where a client cannot be accepted, for want of a descriptor, nothing is asked for until a
// moment has passed: the client would be told of again and again.
//
// Each process of the job has the socket too, and can shut it down, on purpose or because it takes it for a connection.
// Nobody can connect to it any more then, and the kernel tells of that without end. A new socket takes its name; those
// who still wait at the old one are let go, and come again.
#include "tolvend/JobListener.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "ipc/PeerCredentials.h"
#include "ipc/Refusal.h"
#include "tolvend/ErrorNumber.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t restNanoseconds = 100'000'000;
constexpr std::uint64_t longestPause = 32 * restNanoseconds;

/// Which of the events of poll(2) are there now.
short readiness(int descriptor, short events) noexcept {
  pollfd set{descriptor, events, 0};
  while (poll(&set, 1, 0) < 0 && errno == EINTR) {
  }
  return set.revents;
}

}  // namespace

JobListener::JobListener(Alarms& alarms, SpareDescriptor& spare, std::function<void()> waiting,
                         std::function<void()> replaced)
    : spare_(spare),
      waiting_(std::move(waiting)),
      replaced_(std::move(replaced)),
      retry_(alarms, [this] { obey(); }),
      pause_(restNanoseconds) {}

std::string JobListener::open(int directory, const std::string& file, PublishedSocket::Access access,
                              PublishedSocket::Rival rival) {
  directory_ = directory;
  file_ = file;
  access_ = access;
  std::string error = bind(rival);
  if (!error.empty()) close();
  return error;
}

/// In the place of the socket that there is.
std::string JobListener::bind(PublishedSocket::Rival rival) {
  auto socket = std::make_unique<PublishedSocket>();
  switch (socket->openShared(directory_, file_, access_, rival)) {
    case VANTO_ERROR_NONE:
      break;
    case VANTO_ERROR_IN_USE:
      return "another process already serves this name; end it first";
    default:
      if (errno == ENOTSOCK) return path() + " is no socket; move it away";
      return "the socket cannot be made: " + errorNumberText(errno);
  }
  const int error = watch_.start(socket->descriptor(), EPOLLRDHUP, [this](std::uint32_t events) { isReady(events); });
  if (error != 0) return "the socket cannot be watched: " + errorNumberText(error);
  socket_ = std::move(socket);
  return {};
}

std::string JobListener::path() const {
  std::error_code error;
  const auto folder = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(directory_), error);
  // The bare name where the system does not tell the directory's.
  return error ? file_ : (folder / file_).string();
}

void JobListener::close() {
  retry_.set(UINT64_MAX);
  watch_.stop();
  socket_.reset();
  file_.clear();
}

void JobListener::isReady(std::uint32_t events) {
  if ((events & (EPOLLHUP | EPOLLRDHUP)) != 0) return bindAnew();
  waiting_();
}

void JobListener::bindAnew() {
  watch_.stop();
  const std::unique_ptr<PublishedSocket> old = std::move(socket_);
  // The name is the manager's since the first time, whoever has taken it meanwhile.
  if (!bind(PublishedSocket::Rival::Replace).empty()) {
    retry_.set(deadlineAfter(pause_));
    pause_ = std::min(2 * pause_, longestPause);
    return;
  }
  retry_.set(UINT64_MAX);
  pause_ = restNanoseconds;
  change();
  if (old) {
    for (int i = 0; i < limits::managerRefusals && acceptClient(old->descriptor(), spare_).socket; i++)
      spare_.restore();
    spare_.restore();
  }
  replaced_();
}

void JobListener::watch(bool shallWatch) {
  shallWatch_ = shallWatch;
  if (!retry_.isSet()) obey();
}

void JobListener::obey() {
  if (!socket_ && !file_.empty()) return bindAnew();
  change();
}

void JobListener::change() {
  watch_.change(static_cast<std::uint32_t>(shallWatch_ ? EPOLLIN | EPOLLRDHUP : EPOLLRDHUP));
}

void JobListener::rest() {
  watch_.change(EPOLLRDHUP);
  retry_.set(deadlineAfter(restNanoseconds));
}

bool JobListener::isAnybodyWaiting() const noexcept {
  return socket_ && (readiness(descriptor(), POLLIN) & POLLIN) != 0;
}

WaitingChange JobListener::lookAtWaiting() {
  WaitingClients now = socket_ ? readWaitingClients(descriptor()) : WaitingClients();
  const WaitingChange change = changeOf(seen_, now);
  seen_ = std::move(now);
  return change;
}

bool JobListener::hasLeft(int client) noexcept {
  return (readiness(client, 0) & POLLHUP) != 0;
}

void JobListener::refuse(int client, const Refusal& refusal) {
  ProcessFacts facts;
  const bool isTrusted =
      readPeerCredentials(client, facts) && (facts.effectiveUser == geteuid() || facts.effectiveUser == 0);
  const bool tellsMore = isTrusted && !refusal.confidential.empty();
  sendRefusal(client, static_cast<std::uint32_t>(refusal.code),
              tellsMore ? refusal.text + refusal.confidential : refusal.text);
}

void JobListener::refuseAll(const Refusal& refusal) {
  for (int i = 0; i < limits::managerRefusals && socket_; i++) {
    Accepted accepted = acceptClient(descriptor(), spare_);
    if (accepted.result == Accepted::Result::Client) refuse(accepted.socket.get(), refusal);
    accepted.socket.reset();
    spare_.restore();
    if (accepted.result == Accepted::Result::NoDescriptor) rest();
    if (accepted.result != Accepted::Result::Client) return;
  }
}

}  // namespace vanto::manager
