// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigesterSandbox.h"

#include <csignal>
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

namespace vanto::testing {
namespace {

void tell(const ChildReport& report, const char* what, bool works) {
  report(std::string(what) + (works ? ": yes" : ": no"));
}

/// On a kernel without Landlock and on this one.
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

INSTANTIATE_TEST_SUITE_P(Landlock, DigesterSandboxOf, ::testing::Values(0, 1, 9));

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
