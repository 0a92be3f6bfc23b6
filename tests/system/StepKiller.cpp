// SPDX-License-Identifier: Apache-2.0
#include "system/StepKiller.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::test {
namespace {

/// Its end after it has killed the victim, and without it.
constexpr int killed = 0;
constexpr int failed = 3;

std::vector<pid_t> threadsOf(pid_t process) {
  std::vector<pid_t> threads;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    threads.push_back(std::stoi(entry.path().filename()));
  }
  return threads;
}

/// The process that a thread is of; 0 for one that is gone.
pid_t processOf(pid_t thread) noexcept {
  char path[64];
  char text[512] = {};
  std::snprintf(path, sizeof path, "/proc/%d/status", thread);
  const Fd status(open(path, O_RDONLY | O_CLOEXEC));
  if (!status || read(status.get(), text, sizeof text - 1) <= 0) return 0;
  const char* const line = std::strstr(text, "\nTgid:\t");
  pid_t process = 0;
  if (line != nullptr) std::from_chars(line + 7, text + sizeof text, process);
  return process;
}

/// Runs in a process of its own, since whoever follows has to wait for each stop.
class Follower {
 public:
  Follower(pid_t process, StepKiller::Victim victim, int step) noexcept
      : process_(process), victim_(victim), left_(step) {}

  bool follow(pid_t thread) const noexcept {
    const long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK;
    int status = 0;
    return ptrace(PTRACE_SEIZE, thread, nullptr, options) == 0 &&
           ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) == 0 && waitpid(thread, &status, __WALL) == thread &&
           ptrace(PTRACE_SYSCALL, thread, nullptr, nullptr) == 0;
  }

  [[noreturn]] void run() noexcept {
    int status = 0;
    for (pid_t thread = 0; (thread = waitpid(-1, &status, __WALL)) > 0;) {
      if (WIFSTOPPED(status)) handle(thread, status);
    }
    _exit(failed);
  }

 private:
  void handle(pid_t thread, int status) noexcept {
    const int signal = WSTOPSIG(status);
    const bool isCall = signal == (SIGTRAP | 0x80);
    // What the kernel tells beside calls comes as SIGTRAP, or as the signal that a whole process stops with.
    const bool isEvent = status >> 16 != 0;
    if (isCall) count(processOf(thread));
    ptrace(PTRACE_SYSCALL, thread, nullptr, isCall || isEvent ? 0 : signal);
  }

  void count(pid_t process) noexcept {
    const bool isVictim = process != 0 && (process == process_) == (victim_ == StepKiller::Victim::Process);
    if (!isVictim || --left_ != 0) return;
    // Who stops following at this moment is told what was done nonetheless.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    kill(process, SIGKILL);
    _exit(killed);
  }

  const pid_t process_;
  const StepKiller::Victim victim_;
  int left_;
};

}  // namespace

StepKiller::StepKiller(pid_t process, Victim victim, int step, pid_t child) {
  std::vector<pid_t> threads = threadsOf(process);
  if (child != 0) threads.push_back(child);
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd ready(ends[0]);
  Fd theirs(ends[1]);
  follower_ = fork();
  if (follower_ == 0) {
    Follower follower(process, victim, step);
    for (const pid_t thread : threads) {
      if (!follower.follow(thread)) _exit(failed);
    }
    if (write(theirs.get(), "r", 1) != 1) _exit(failed);
    follower.run();
  }
  theirs.reset();
  char byte = 0;
  EXPECT_EQ(read(ready.get(), &byte, 1), 1) << "not followed";
}

StepKiller::~StepKiller() {
  static_cast<void>(hasKilled());
}

bool StepKiller::hasKilled() {
  if (follower_ > 0) {
    kill(follower_, SIGTERM);
    while (waitpid(follower_, &status_, 0) < 0 && errno == EINTR) {
    }
    follower_ = -1;
  }
  EXPECT_FALSE(WIFEXITED(status_) && WEXITSTATUS(status_) == failed);
  return WIFEXITED(status_) && WEXITSTATUS(status_) == killed;
}

}  // namespace vanto::test
