// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Strays.h"

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/Child.h"

namespace vanto::manager {
namespace {

TEST(Strays, AreKilledAndReapedAndOwnChildrenLeftAlone) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    ASSERT_EQ(Strays::adopt(), 0);
    const pid_t own = fork();
    if (own == 0) {
      for (;;) pause();
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t parent = fork();
    if (parent == 0) {
      if (fork() == 0) {
        setsid();
        const pid_t self = getpid();
        static_cast<void>(!write(ends[1], &self, sizeof self));
        for (;;) pause();
      }
      _exit(0);
    }
    ASSERT_EQ(waitpid(parent, nullptr, 0), parent);
    pid_t stray = 0;
    ASSERT_EQ(read(ends[0], &stray, sizeof stray), static_cast<ssize_t>(sizeof stray));
    const Strays strays([=](pid_t pid) { return pid == own; });
    strays.sweep();
    // Its end takes a moment; whoever waits for it without reaping leaves that to the next sweep.
    siginfo_t facts;
    while (waitid(P_PID, static_cast<id_t>(stray), &facts, WEXITED | WNOWAIT) == 0) strays.sweep();
    EXPECT_EQ(errno, ECHILD);
    EXPECT_EQ(kill(stray, 0), -1);
    EXPECT_EQ(waitpid(own, nullptr, WNOHANG), 0) << "the own child was killed";
    kill(own, SIGKILL);
    EXPECT_EQ(waitpid(own, nullptr, 0), own);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::manager
