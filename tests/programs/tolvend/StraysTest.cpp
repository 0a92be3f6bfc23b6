// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Strays.h"

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "support/Child.h"

namespace vanto::manager {
namespace {

/// A process that does nothing until it is killed, or this one ends.
pid_t startIdle() {
  const pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) pause();
  }
  return pid;
}

/// A process that is this one's child when the one that forked it off, in a session of its own, has ended.
struct Orphan {
  pid_t leader = 0;
  pid_t pid = 0;

  Orphan() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    leader = fork();
    if (leader == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      setsid();
      const pid_t made = fork();
      if (made == 0) {
        // Its parent ends before it does.
        alarm(60);
        for (;;) pause();
      }
      static_cast<void>(!write(ends[1], &made, sizeof made));
      for (;;) pause();
    }
    EXPECT_EQ(read(ends[0], &pid, sizeof pid), static_cast<ssize_t>(sizeof pid));
    for (const int end : ends) close(end);
  }

  void endLeader() const {
    kill(leader, SIGKILL);
    EXPECT_EQ(waitpid(leader, nullptr, 0), leader);
  }
};

/// Sweeps until it is gone.
void expectGone(const Strays& strays, pid_t pid, pid_t command = 0) {
  // Its end takes a moment; whoever waits for it without reaping leaves that to the next sweep.
  siginfo_t facts;
  while (waitid(P_PID, static_cast<id_t>(pid), &facts, WEXITED | WNOWAIT) == 0) strays.sweep(command);
  EXPECT_EQ(errno, ECHILD);
}

void expectAlive(pid_t pid) {
  // One that was killed before and has not ended yet ends by that.
  kill(pid, SIGTERM);
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST(Strays, AreKilledAndReapedAndOwnChildrenLeftAlone) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    alarm(60);
    Children services;
    Strays strays(services);
    ASSERT_EQ(strays.adopt(), 0);
    const pid_t service = startIdle();
    services.insert(service);
    const pid_t command = startIdle();
    const Orphan orphan;
    orphan.endLeader();
    strays.sweep(command);
    expectGone(strays, orphan.pid, command);
    expectAlive(service);
    expectAlive(command);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Strays, LiveAsLongAsTheirService) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    alarm(60);
    Children services;
    Strays strays(services);
    ASSERT_EQ(strays.adopt(), 0);
    const Orphan orphan;
    services.insert(orphan.leader);
    orphan.endLeader();
    strays.sweep(0);
    EXPECT_EQ(kill(orphan.pid, 0), 0);
    EXPECT_EQ(waitpid(orphan.pid, nullptr, WNOHANG), 0) << "killed before its service has ended";
    services.erase(orphan.leader, monotonicNow());
    strays.sweep(0);
    expectGone(strays, orphan.pid);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Strays, OfOthersAreLeftAlone) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    alarm(60);
    const pid_t earlier = startIdle();
    Children services;
    Strays strays(services);
    ASSERT_EQ(strays.adopt(), 0);
    const Orphan other;
    other.endLeader();
    const Orphan orphan;
    services.insert(orphan.leader);
    orphan.endLeader();
    services.erase(orphan.leader, monotonicNow());
    strays.sweep(0);
    expectGone(strays, orphan.pid);
    expectAlive(earlier);
    expectAlive(other.pid);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::manager
