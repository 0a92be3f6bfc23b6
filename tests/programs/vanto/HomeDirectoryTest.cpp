// SPDX-License-Identifier: Apache-2.0
#include "vanto/HomeDirectory.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "support/Child.h"

namespace vanto::tool {
namespace {

TEST(HomeDirectory, IsThatOfTheUserWithoutLinks) {
  std::string problem;
  const std::optional<std::string> home = homeDirectory(problem);
  ASSERT_TRUE(home) << problem;
  EXPECT_EQ(*home, std::filesystem::canonical(getpwuid(geteuid())->pw_dir).string());
}

TEST(HomeDirectory, IsMissingForAUserWhoHasNone) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport& report) {
    EXPECT_EQ(setreuid(54321, 54321), 0);
    std::string problem;
    EXPECT_FALSE(homeDirectory(problem));
    report(problem);
  });
  EXPECT_EQ(outcome.lines, std::vector<std::string>{"user 54321 has no home directory"});
}

}  // namespace
}  // namespace vanto::tool
