// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigesterProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include "vexd/DigesterSocket.h"
#include "vexd/MonotonicTime.h"
#include "vexd/Record.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

/// Whether the other side has closed the socket, or sent what nobody asked for.
bool hasEnded(int socket) noexcept {
  pollfd set{socket, POLLIN, 0};
  return poll(&set, 1, 0) != 0;
}

}  // namespace

DigesterProcess::~DigesterProcess() {
  end();
}

std::optional<DigestAnswer> DigesterProcess::ask(const DigestRequest& request, std::uint64_t nanoseconds,
                                                 const std::function<bool()>& isWanted) {
  const std::uint64_t deadline = monotonicNow() + nanoseconds;
  outcome_ = Outcome::Failed;
  if (socket_ && hasEnded(socket_.get())) end();
  if (!socket_ && !start()) return std::nullopt;
  Record record;
  if (sendRecord(socket_.get(), request.bytes(), request.descriptors(), deadline)) outcome_ = await(deadline, isWanted);
  std::optional<DigestAnswer> answer;
  if (outcome_ == Outcome::Answered && receiveRecord(socket_.get(), limits::answerBytes, deadline, record)) {
    answer = DigestAnswer::read(record.bytes);
  }
  if (answer) return answer;
  if (outcome_ == Outcome::Answered) outcome_ = Outcome::Failed;
  // What comes later would be taken for the answer to another question.
  end();
  return answer;
}

/// Until there is something to receive.
DigesterProcess::Outcome DigesterProcess::await(std::uint64_t deadline, const std::function<bool()>& isWanted) const {
  for (;;) {
    const std::uint64_t next = std::min(deadline, monotonicNow() + limits::attentionNanoseconds);
    if (awaitSocket(socket_.get(), POLLIN, next)) return Outcome::Answered;
    if (next == deadline) return Outcome::TookTooLong;
    if (!isWanted()) return Outcome::Unwanted;
  }
}

bool DigesterProcess::start() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
  socket_.reset(ends[0]);
  // Above the descriptor that it becomes, or it would stay close-on-exec.
  const Fd given(ends[1]);
  const Fd theirs(fcntl(given.get(), F_DUPFD_CLOEXEC, digesterSocket + 1));
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, theirs.get(), digesterSocket);
  char name[] = "vexd-digester";
  char* const arguments[] = {name, nullptr};
  char* const environment[] = {nullptr};
  const int error = theirs ? posix_spawn(&pid_, program_.c_str(), &actions, nullptr, arguments, environment) : errno;
  posix_spawn_file_actions_destroy(&actions);
  if (error == 0) return true;
  pid_ = 0;
  socket_.reset();
  return false;
}

void DigesterProcess::end() noexcept {
  socket_.reset();
  if (pid_ == 0) return;
  kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = 0;
}

}  // namespace vanto::vexd
