// SPDX-License-Identifier: Apache-2.0

// The socket is in the set of watched descriptors as long as it is open; whether clients are told of is a matter of the
// events that are asked for. Where a client cannot be accepted, for want of a descriptor, nothing is asked for until a
// moment has passed: the client would be told of again and again.
#include "tolvend/JobListener.h"

#include <cerrno>
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

}  // namespace

std::string JobListener::open(int directory, const std::string& file, PublishedSocket::Access access,
                              PublishedSocket::Rival rival) {
  switch (socket_.openShared(directory, file, access, rival)) {
    case VANTO_ERROR_NONE:
      break;
    case VANTO_ERROR_IN_USE:
      return "another process already serves this name; end it first";
    default:
      return "the socket cannot be made: " + errorNumberText(errno);
  }
  const int error = watch_.start(socket_.descriptor(), 0, [this](std::uint32_t) { waiting_(); });
  if (error == 0) return {};
  socket_.close();
  return "the socket cannot be watched: " + errorNumberText(error);
}

void JobListener::close() {
  retry_.set(UINT64_MAX);
  watch_.stop();
  socket_.close();
}

void JobListener::watch(bool shallWatch) {
  shallWatch_ = shallWatch;
  if (!retry_.isSet()) obey();
}

void JobListener::obey() {
  watch_.change(shallWatch_ ? static_cast<std::uint32_t>(EPOLLIN) : 0);
}

void JobListener::rest() {
  watch_.change(0);
  retry_.set(deadlineAfter(restNanoseconds));
}

bool JobListener::isAnybodyWaiting() const noexcept {
  pollfd set{socket_.descriptor(), POLLIN, 0};
  int count = -1;
  while (socket_.descriptor() >= 0 && (count = poll(&set, 1, 0)) < 0 && errno == EINTR) {
  }
  return count == 1 && (set.revents & POLLIN) != 0;
}

Fd JobListener::accept() {
  Accepted accepted = acceptClient(socket_.descriptor());
  if (accepted.result == Accepted::Result::NoDescriptor) rest();
  return std::move(accepted.socket);
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
  for (int i = 0; i < limits::managerRefusals && socket_.descriptor() >= 0; i++) {
    Accepted accepted = acceptClient(socket_.descriptor(), spare_);
    if (accepted.result == Accepted::Result::Client) refuse(accepted.socket.get(), refusal);
    accepted.socket.reset();
    spare_.restore();
    if (accepted.result == Accepted::Result::NoDescriptor) rest();
    if (accepted.result != Accepted::Result::Client) return;
  }
}

}  // namespace vanto::manager
