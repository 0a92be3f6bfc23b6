// SPDX-License-Identifier: Apache-2.0
#include "vexd/Confinement.h"

#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/Child.h"

namespace vanto::testing {
namespace {

void tell(const ChildReport& report, const char* what, bool works) {
  report(std::string(what) + (works ? ": yes" : ": no"));
}

TEST(Confinement, LeavesWhatIsOpenAndNothingElse) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    report(vexd::confine());
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

}  // namespace
}  // namespace vanto::testing
