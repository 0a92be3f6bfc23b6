// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigesterSandbox.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <latch>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {
namespace {

void tell(const ChildReport& report, const char* what, bool works) {
  report(std::string(what) + (works ? ": yes" : ": no"));
}

/// Ways to have another process signalled, and one to keep others from opening a file, that need no more than a socket
/// or a file that is open.
struct WaysToDisturb {
  bool signalsThread;
  bool isSignalledFor;
  bool isNamedByDescription;
  bool keepsOthersOut;

  WaysToDisturb(pid_t victim, int socket, int file)
      : signalsThread(syscall(SYS_tgkill, victim, victim, 0) == 0),
        isSignalledFor(fcntl(socket, F_SETOWN, victim) == 0),
        isNamedByDescription(setOwnerOf(socket, victim)),
        keepsOthersOut(fcntl(file, F_SETLEASE, F_RDLCK) == 0) {}

  static bool setOwnerOf(int socket, pid_t victim) {
    f_owner_ex owner{F_OWNER_PID, victim};
    return fcntl(socket, F_SETOWN_EX, &owner) == 0;
  }

  void tellOf(const ChildReport& report) const {
    tell(report, "signal a thread", signalsThread);
    tell(report, "have it signalled", isSignalledFor);
    tell(report, "have it signalled otherwise", isNamedByDescription);
    tell(report, "lease", keepsOthersOut);
  }
};

/// On kernels without Landlock, with ever more of it, and on this one.
class DigesterSandboxOf : public ::testing::TestWithParam<int> {};

TEST_P(DigesterSandboxOf, LeavesWhatIsOpenAndNothingElse) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    report(vexd::enterDigesterSandbox(GetParam()));
    char byte = 0;
    tell(report, "read", read(file, &byte, 1) == 1);
    tell(report, "open", open("/dev/null", O_RDONLY) >= 0);
    tell(report, "socket", socket(AF_UNIX, SOCK_STREAM, 0) >= 0);
    tell(report, "fork", fork() > 0);
    tell(report, "execute", execl("/bin/true", "true", nullptr) == 0);
    tell(report, "signal", kill(getppid(), 0) == 0);
    tell(report, "link", link("/proc/self/exe", "/tmp/vanto-never") == 0);
    _exit(0);
  });
  const std::vector<std::string> expected = {"",         "read: yes",   "open: no",   "socket: no",
                                             "fork: no", "execute: no", "signal: no", "link: no"};
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, expected);
}

TEST_P(DigesterSandboxOf, LetsNoProcessBeSignalledAndNoFileBeHeld) {
  const test::TemporaryDirectory directory;
  const std::string path = directory / "file";
  std::ofstream(path) << "text";
  const ChildOutcome outcome = runInChild([&path](const ChildReport& report) {
    int ends[2];
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const pid_t victim = getppid();
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
    WaysToDisturb(victim, ends[0], file).tellOf(report);
    fcntl(ends[0], F_SETOWN, 0);
    fcntl(file, F_SETLEASE, F_UNLCK);
    report(vexd::enterDigesterSandbox(GetParam()));
    WaysToDisturb(victim, ends[0], file).tellOf(report);
    _exit(0);
  });
  const std::vector<std::string> expected = {
      "signal a thread: yes", "have it signalled: yes", "have it signalled otherwise: yes", "lease: yes", "",
      "signal a thread: no",  "have it signalled: no",  "have it signalled otherwise: no",  "lease: no"};
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, expected);
}

// It ends by the instruction that abort() falls back on, which the address sanitizer has a handler for.
#ifndef __SANITIZE_ADDRESS__
TEST_P(DigesterSandboxOf, LetsItEndByAbort) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    report(vexd::enterDigesterSandbox(GetParam()));
    std::abort();
  });
  EXPECT_TRUE(outcome.end.starts_with("signal ")) << outcome.end;
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{""}));
}
#endif

INSTANTIATE_TEST_SUITE_P(Landlock, DigesterSandboxOf, ::testing::Values(0, 1, 2, 5, 9));

TEST(DigesterSandbox, LeavesNothingThatIsDoneWithoutOpening) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    int ends[2];
    report(vexd::enterDigesterSandbox());
    tell(report, "look at another process", syscall(SYS_pidfd_open, getppid(), 0) >= 0);
    tell(report, "change the mode", chmod("/tmp", 01777) == 0);
    tell(report, "change the times", utimensat(AT_FDCWD, "/tmp", nullptr, 0) == 0);
    tell(report, "change directory", chdir("/") == 0);
    tell(report, "read a link", readlink("/proc/self/exe", reinterpret_cast<char*>(ends), sizeof ends) > 0);
    tell(report, "watch", inotify_init1(0) >= 0);
    tell(report, "pair of sockets", socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    tell(report, "nameless memory", syscall(SYS_memfd_create, "x", 0) >= 0);
    tell(report, "lower its priority", setpriority(PRIO_PROCESS, 0, 19) == 0);
    _exit(0);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  ASSERT_EQ(outcome.lines.size(), 10U);
  EXPECT_EQ(outcome.lines[0], "");
  for (std::size_t i = 1; i < outcome.lines.size(); ++i) {
    EXPECT_TRUE(outcome.lines[i].ends_with(": no")) << outcome.lines[i];
  }
}

/// The number behind a label in /proc/self/status, as a text.
std::string statusOf(const std::string& label) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(label)) return line.substr(label.size() + 1);
  }
  return "";
}

TEST(DigesterSandbox, IsEnteredWithOneThreadOnly) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    std::latch isDone{1};
    std::thread other([&isDone] { isDone.wait(); });
    report(vexd::enterDigesterSandbox().empty() ? "entered" : "refused");
    report(statusOf("Seccomp:"));
    isDone.count_down();
    other.join();
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"refused", "0"}));
}

}  // namespace
}  // namespace vanto::testing
