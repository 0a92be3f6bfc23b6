// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <string>

#include <fcntl.h>
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
  return {{"/trust", {keyFile("acme", keys)}, {}, {}, true}};
}

}  // namespace vanto::testing
