// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Ruleset.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "host/sandbox/Reading.h"
#include "sandbox/Landlock.h"
#include "support/Child.h"

namespace vanto::testing {
namespace {

TEST(Ruleset, DeniesWhatItIsAboutAndHasNoRuleFor) {
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    Ruleset ruleset;
    ASSERT_TRUE(ruleset.create(landlock::readFile, 0, 0));
    const Fd place(open("/etc/passwd", O_PATH | O_CLOEXEC));
    ASSERT_TRUE(ruleset.allowPath(place.get(), landlock::readFile));
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_TRUE(ruleset.enter());
    EXPECT_TRUE(canRead("/etc/passwd"));
    EXPECT_FALSE(canRead("/etc/group"));
    EXPECT_TRUE(canRead("/etc"));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(Ruleset, TellsWhatTheKernelDoesNotTake) {
  Ruleset ruleset;
  EXPECT_FALSE(ruleset.create(std::uint64_t{1} << 50, 0, 0));
  EXPECT_EQ(errno, EINVAL);
  ASSERT_TRUE(ruleset.create(landlock::readFile, 0, 0));
  EXPECT_FALSE(ruleset.allowPath(-1, landlock::readFile));
  EXPECT_EQ(errno, EBADF);
  const Fd place(open("/etc/passwd", O_PATH | O_CLOEXEC));
  EXPECT_FALSE(ruleset.allowPath(place.get(), landlock::writeFile));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(ruleset.allowPort(80, landlock::bindTcp));
}

}  // namespace
}  // namespace vanto::testing
