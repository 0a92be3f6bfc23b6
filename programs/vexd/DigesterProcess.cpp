// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigesterProcess.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include "vexd/DigesterSocket.h"
#include "vexd/Record.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

std::uint64_t deadlineIn(std::uint64_t nanoseconds) noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec) + nanoseconds;
}

/// Whether the other side has closed the socket, or sent what nobody asked for.
bool hasEnded(int socket) noexcept {
  pollfd set{socket, POLLIN, 0};
  return poll(&set, 1, 0) != 0;
}

}  // namespace

DigesterProcess::~DigesterProcess() {
  end();
}

std::optional<DigestAnswer> DigesterProcess::ask(const DigestRequest& request, std::uint64_t nanoseconds) {
  const std::uint64_t deadline = deadlineIn(nanoseconds);
  if (socket_ && hasEnded(socket_.get())) end();
  if (!socket_ && !start()) return std::nullopt;
  Record record;
  const bool isAnswered = sendRecord(socket_.get(), request.bytes(), request.descriptors(), deadline) &&
                          receiveRecord(socket_.get(), limits::answerBytes, deadline, record);
  std::optional<DigestAnswer> answer = isAnswered ? DigestAnswer::read(record.bytes) : std::nullopt;
  // What comes later would be taken for the answer to another question.
  if (!answer) end();
  return answer;
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
