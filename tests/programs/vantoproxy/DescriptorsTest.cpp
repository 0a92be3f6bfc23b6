// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Child.h"

namespace vanto::test {
namespace {

bool isOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

TEST(Descriptors, PlugsNothingWhereAllAreOpen) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    for (const int to : {0, 1, 2}) ASSERT_EQ(dup2(open("/dev/zero", O_RDWR | O_CLOEXEC), to), to);
    EXPECT_FALSE(plugStandardDescriptors());
    char byte = 'x';
    EXPECT_EQ(read(0, &byte, 1), 1);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Descriptors, PlugsAClosedOneSoThatProgramsInheritIt) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    close(1);
    EXPECT_FALSE(plugStandardDescriptors());
    EXPECT_EQ(fcntl(1, F_GETFD), 0);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Descriptors, ClosesAllButTheListenersAndTheStatusPipeWhereverThatIs) {
  for (const int status : {5, 6, 100}) {
    const testing::ChildOutcome outcome = testing::runInChild([status](const testing::ChildReport& report) {
      for (const int to : {3, 4, 5, 6, 7, 99, 100, 101}) dup2(0, to);
      const Failure failure = closeAllBut({.listeners = 2, .status = status});
      const bool areRight = isOpen(0) && isOpen(3) && isOpen(4) && isOpen(status) && !isOpen(7) && !isOpen(99) &&
                            !isOpen(101) && isOpen(5) == (status == 5) && isOpen(6) == (status == 6);
      // The way to report is closed.
      static_cast<void>(report);
      _exit(!failure && areRight ? 0 : 1);
    });
    EXPECT_EQ(outcome.end, "exit status 0") << status;
  }
}

}  // namespace
}  // namespace vanto::test
