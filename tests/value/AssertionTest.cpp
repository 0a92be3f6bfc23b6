// SPDX-License-Identifier: Apache-2.0
#include "value/Assertion.h"

#include <csignal>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

TEST(AssertionDeathTest, ReportsConditionFunctionFileAndLineToTheErrorLogAndAborts) {
  EXPECT_EXIT(vanto::assertionFailed("someFunction", "SomeFile.cpp", 12, "1 == 2"), testing::KilledBySignal(SIGABRT),
              "log 3: Assertion failed: 1 == 2, function someFunction, file SomeFile.cpp, line 12\\.");
}

TEST(AssertionDeathTest, NamesFunctionAndFileWithoutItsDirectory) {
  const int one = 1;
  EXPECT_DEATH(VANTO_ASSERT(one == 2), "one == 2, function TestBody, file AssertionTest.cpp, line");
}

TEST(AssertionDeathTest, NamesClassAndOperationWhereGiven) {
  const int one = 1;
  EXPECT_DEATH(VANTO_ASSERT_IN("SomeClass operation", one == 2), "one == 2, function SomeClass operation, file");
}

TEST(Assertion, LetsWhatHoldsPass) {
  int evaluations = 0;
  VANTO_ASSERT(++evaluations == 1);
  VANTO_ASSERT_IN("SomeClass operation", ++evaluations == 2);
  EXPECT_EQ(evaluations, 2);
}

/// Fails an assertion with a terminal as standard error, then passes on what the terminal shows.
[[noreturn]] void failOnTerminal() {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  grantpt(terminal);
  unlockpt(terminal);
  const int screen = open(ptsname(terminal), O_RDWR | O_NOCTTY);
  const int original = dup(STDERR_FILENO);
  if (fork() == 0) {
    dup2(screen, STDERR_FILENO);
    vanto::assertionFailed("someFunction", "SomeFile.cpp", 12, "1 == 2");
  }
  close(screen);
  char shown[1024];
  for (ssize_t count = 0; (count = read(terminal, shown, sizeof shown)) > 0;) {
    if (write(original, shown, static_cast<std::size_t>(count)) < 0) break;
  }
  _exit(0);
}

TEST(AssertionDeathTest, ReportsToATerminalToo) {
  EXPECT_EXIT(failOnTerminal(), testing::ExitedWithCode(0),
              "\nAssertion failed: 1 == 2, function someFunction, file SomeFile.cpp, line 12\\.");
}

}  // namespace
