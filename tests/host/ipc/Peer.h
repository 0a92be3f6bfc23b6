// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::test {

/// Another process that runs Peer.cpp: what it does is told by its arguments, and it reports lines.
class Process {
 public:
  /// `inherited` are descriptors that it gets; `prepare` runs in the child before it executes.
  explicit Process(std::vector<std::string> arguments, std::vector<int> inherited = {},
                   const std::function<void()>& prepare = nullptr) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    output_.reset(ends[0]);
    const Fd theirs(ends[1]);
    arguments.insert(arguments.begin(), VANTO_IPC_PEER);
    std::vector<char*> vector;
    for (std::string& argument : arguments) vector.push_back(argument.data());
    vector.push_back(nullptr);
    child_ = fork();
    if (child_ != 0) return;
    dup2(theirs.get(), STDOUT_FILENO);
    for (const int descriptor : inherited) fcntl(descriptor, F_SETFD, 0);
    if (prepare) prepare();
    execv(vector[0], vector.data());
    _exit(126);
  }
  ~Process() {
    if (child_ <= 0) return;
    kill(child_, SIGKILL);
    static_cast<void>(await());
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  [[nodiscard]] pid_t pid() const { return child_; }
  void signal(int number) const { EXPECT_EQ(kill(child_, number), 0); }

  /// The next line that it reports; empty at its end.
  [[nodiscard]] std::string line() const {
    std::string text;
    char character = 0;
    while (read(output_.get(), &character, 1) == 1 && character != '\n') text += character;
    return text;
  }

  /// Waits until it is stopped (WSTOPPED), or has ended (WEXITED) and is still there to be looked at.
  void awaitState(int states) const {
    siginfo_t information{};
    while (waitid(P_PID, static_cast<id_t>(child_), &information, states | WNOWAIT) != 0 && errno == EINTR) {
    }
  }

  /// Waits for its end.
  [[nodiscard]] std::string await() const {
    int status = 0;
    while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    child_ = 0;
    if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
    return "signal " + std::to_string(WTERMSIG(status));
  }

 private:
  mutable pid_t child_ = 0;
  Fd output_;
};

/// What another process waits for on its standard input until it is opened.
class Gate {
 public:
  Gate() {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    theirs_.reset(ends[0]);
    ours_.reset(ends[1]);
  }
  /// In the child.
  void becomeInput() const { dup2(theirs_.get(), STDIN_FILENO); }
  void open() const { EXPECT_EQ(write(ours_.get(), "x", 1), 1); }

 private:
  Fd theirs_;
  Fd ours_;
};

/// What a manager does in the child: the sockets from 3 on, and the variables.
inline auto handOver(const std::vector<int>& sockets, const char* names, bool hasRightPid = true) {
  return [sockets, names, hasRightPid] {
    int next = 3;
    for (const int socket : sockets) {
      const int copy = fcntl(socket, F_DUPFD, 200);
      dup2(copy, next++);
      close(copy);
    }
    setenv("LISTEN_FDS", std::to_string(sockets.size()).c_str(), 1);
    setenv("LISTEN_PID", std::to_string(getpid() + (hasRightPid ? 0 : 1)).c_str(), 1);
    if (names != nullptr) setenv("LISTEN_FDNAMES", names, 1);
  };
}

}  // namespace vanto::test
