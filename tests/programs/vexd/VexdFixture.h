// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "programs/code/SignedCode.h"
#include "support/SettledFile.h"
#include "value/Fd.h"
#include "vexd/DigestRequest.h"
#include "vexd/ExaminedProcess.h"

namespace vanto::testing {

inline Fd openFile(const std::string& path) {
  return Fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

inline Fd openOwnProcess() {
  return Fd(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
}

/// A process that waits, a child of one that did `prepare` before, which can make namespaces, and after it did `begin`;
/// ended with its object. There is none when one of both says no.
class WaitingProcess {
 public:
  using Step = bool (*)();

  explicit WaitingProcess(Step prepare) : WaitingProcess(prepare, [] { return true; }) {}
  WaitingProcess(Step prepare, const std::function<bool()>& begin) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Fd receiving(ends[0]);
    Fd sending(ends[1]);
    parent_ = fork();
    if (parent_ == 0) runParent(prepare, begin, sending.get());
    sending.reset();
    if (read(receiving.get(), &pid_, sizeof pid_) != sizeof pid_) pid_ = 0;
    if (pid_ != 0) process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  }
  ~WaitingProcess() {
    kill(parent_, SIGKILL);
    waitpid(parent_, nullptr, 0);
  }
  WaitingProcess(const WaitingProcess&) = delete;
  WaitingProcess& operator=(const WaitingProcess&) = delete;

  [[nodiscard]] pid_t pid() const { return pid_; }
  [[nodiscard]] int process() const { return process_.get(); }

 private:
  /// Tells of its child once that waits.
  [[noreturn]] static void runParent(Step prepare, const std::function<bool()>& begin, int sending) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    int ready[2];
    if (!prepare() || pipe2(ready, O_CLOEXEC) != 0) _exit(0);
    const pid_t child = fork();
    char byte = 0;
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (!begin() || write(ready[1], &byte, 1) != 1) _exit(0);
    } else {
      close(ready[1]);
      if (read(ready[0], &byte, 1) != 1 || write(sending, &child, sizeof child) < 0) _exit(0);
      close(sending);
    }
    for (;;) pause();
  }

  pid_t parent_ = 0;
  pid_t pid_ = 0;
  Fd process_;
};

/// A process that executes a file and waits; ended with its object.
class Sleeper {
 public:
  explicit Sleeper(const std::string& program) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Fd executed(ends[0]);
    Fd theirs(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
      execl(program.c_str(), "sleep", "1000", nullptr);
      _exit(1);
    }
    theirs.reset();
    char byte = 0;
    // Closed when it executes.
    EXPECT_EQ(read(executed.get(), &byte, 1), 0);
    process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  }
  ~Sleeper() { end(); }
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;

  void end() {
    if (pid_ == 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }
  [[nodiscard]] pid_t pid() const { return pid_; }
  [[nodiscard]] int process() const { return process_.get(); }

 private:
  pid_t pid_ = 0;
  Fd process_;
};

/// The trust directory of the fixture, as it is read.
inline std::vector<code::TrustDirectory> trustIn(const code::KeyPair& keys) {
  return {{"/trust", {keyFile("acme", keys)}, {}, {}, true, {}}};
}

}  // namespace vanto::testing
