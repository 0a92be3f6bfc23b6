// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Account.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Child.h"

// What root does with it is tested with a real manager in a mount namespace of its own.
namespace vanto::manager {
namespace {

TEST(Account, MustBeThere) {
  EXPECT_EQ(becomeAccount("no-such-user"), "there is no user no-such-user; make that user, or name another one");
}

TEST(Account, OnlyRootCanTakeAnothers) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport& report) {
    if (geteuid() == 0) {
      ASSERT_EQ(setuid(12345), 0);
    }
    report(becomeAccount("root"));
  });
  EXPECT_EQ(outcome.lines, std::vector<std::string>{"only root can run services as root"});
}

}  // namespace
}  // namespace vanto::manager
