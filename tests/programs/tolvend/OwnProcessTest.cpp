// SPDX-License-Identifier: Apache-2.0
#include "tolvend/OwnProcess.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Child.h"
#include "tolvend/Spawn.h"

namespace vanto::manager {
namespace {

TEST(OwnProcess, ReservesWhatServicesGet) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport& report) {
    // The report goes on under the number that the process keeps.
    const int extra = open("/etc/passwd", O_RDONLY);
    ASSERT_GE(extra, 0);
    close(STDIN_FILENO);
    FormerState former;
    const rlimit limit{100, 200};
    setrlimit(RLIMIT_NOFILE, &limit);
    ASSERT_EQ(prepareProcess(former), "");
    EXPECT_GE(former.input.get(), reservedDescriptors);
    for (int i = 0; i < reservedDescriptors; i++) EXPECT_GE(fcntl(i, F_GETFD), 0) << i;
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(fcntl(serviceDescriptor, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_TRUE(former.hasRaisedDescriptors);
    EXPECT_EQ(former.descriptors.rlim_cur, 100U);
    rlimit raised{};
    getrlimit(RLIMIT_NOFILE, &raised);
    EXPECT_EQ(raised.rlim_cur, 200U);
    EXPECT_EQ(umask(0), 077U);
    struct stat facts;
    EXPECT_NE(extra >= reservedDescriptors && fstat(extra, &facts) == 0 && S_ISREG(facts.st_mode), true);
    static_cast<void>(report);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(OwnProcess, ReadsTheSignalsThatItWaitsFor) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    const Fd signals = openSignals();
    ASSERT_TRUE(signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
      raise(number);
      signalfd_siginfo facts{};
      ASSERT_EQ(read(signals.get(), &facts, sizeof facts), static_cast<ssize_t>(sizeof facts));
      EXPECT_EQ(facts.ssi_signo, static_cast<std::uint32_t>(number));
    }
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(OwnProcess, ServicesGetDocumentedAndKeptVariables) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport& report) {
    clearenv();
    setenv("HOME", "/home", 1);
    setenv("LC_TIME", "C", 1);
    setenv("SECRET", "no", 1);
    setenv("WANTED", "yes", 1);
    setenv("NOTIFY_SOCKET", "/socket", 1);
    for (const std::string& entry : serviceEnvironment({"WANTED", "MISSING"})) report(entry);
  });
  EXPECT_EQ(outcome.lines,
            (std::vector<std::string>{"HOME=/home", "LC_TIME=C", "WANTED=yes", "VANTO_KEEP=WANTED:MISSING",
                                      "LISTEN_FDS=2", "VANTO_EXEC_STATUS=5"}));
}

}  // namespace
}  // namespace vanto::manager
