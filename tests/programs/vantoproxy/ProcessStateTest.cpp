// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/ProcessState.h"

#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Child.h"

namespace vanto::test {
namespace {

TEST(ProcessState, IsThatOfAServiceWhateverItWas) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGRTMAX, SIG_IGN);
    umask(0);
    EXPECT_FALSE(setProcessState());

    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_TRUE(sigisemptyset(&blocked));
    struct sigaction action {};
    for (const int number : {SIGPIPE, SIGRTMAX}) {
      sigaction(number, nullptr, &action);
      EXPECT_EQ(action.sa_handler, SIG_DFL);
    }
    EXPECT_EQ(umask(0), 077U);
    EXPECT_EQ(getsid(0), getpid());
    char directory[64];
    EXPECT_STREQ(getcwd(directory, sizeof directory), "/");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(ProcessState, LeavesTheHardLimitOfCoreFiles) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    const rlimit given{1000, 2000};
    ASSERT_EQ(setrlimit(RLIMIT_CORE, &given), 0);
    EXPECT_FALSE(setProcessState());
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    EXPECT_EQ(limit.rlim_cur, 0U);
    EXPECT_EQ(limit.rlim_max, 2000U);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::test
