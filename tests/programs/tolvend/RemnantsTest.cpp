// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Remnants.h"

#include <csignal>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "process/StartTime.h"
#include "support/Child.h"

namespace vanto::manager {
namespace {

/// A process in a session of its own, which has ended, and one that it has left there in another group.
struct Service {
  ProcessRecord record;
  pid_t child = 0;

  Service() {
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    record.pid = fork();
    if (record.pid == 0) {
      setsid();
      const pid_t made = fork();
      if (made == 0) {
        setpgid(0, 0);
        const pid_t self = getpid();
        static_cast<void>(!write(ends[1], &self, sizeof self));
      }
      for (;;) pause();
    }
    EXPECT_EQ(read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    EXPECT_TRUE(readProcessStartTime(record.pid, record.startTime));
    kill(record.pid, SIGKILL);
    EXPECT_EQ(waitpid(record.pid, nullptr, 0), record.pid);
  }
};

TEST(Remnants, AreKilledWhereverTheyAreInTheSession) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    alarm(60);
    const Service service;
    killRemnants(service.record);
    int status = 0;
    EXPECT_EQ(waitpid(service.child, &status, 0), service.child);
    EXPECT_TRUE(WIFSIGNALED(status));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Remnants, OlderProcessesAndOtherSessionsAreLeftAlone) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    const Service service;
    ProcessRecord later = service.record;
    later.startTime = ~std::uint64_t{0};
    killRemnants(later);
    // A number that another process has by now.
    setpgid(0, 0);
    const pid_t member = fork();
    if (member == 0) {
      for (;;) pause();
    }
    killRemnants({getpid(), 1, "org.example.echo"});
    // One that was killed before and has not ended yet ends by that.
    for (const pid_t pid : {service.child, member}) {
      kill(pid, SIGTERM);
      int status = 0;
      EXPECT_EQ(waitpid(pid, &status, 0), pid);
      EXPECT_EQ(WTERMSIG(status), SIGTERM);
    }
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::manager
