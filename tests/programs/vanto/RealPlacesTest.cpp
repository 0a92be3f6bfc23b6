// SPDX-License-Identifier: Apache-2.0
#include "vanto/RealPlaces.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "host/sandbox/Compiled.h"
#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

using test::TemporaryDirectory;

TEST(RealPlaces, AreAtTheEndOfLinksAsFarAsThereIsSomething) {
  const TemporaryDirectory directory;
  const std::string real = std::filesystem::canonical(directory.path()).string();
  std::filesystem::create_directory_symlink("/usr", directory / "link");
  EXPECT_EQ(realPath(directory / "link/nowhere/x"), "/usr/nowhere/x");
  EXPECT_EQ(realPath(directory / "none/"), real + "/none");
  EXPECT_EQ(realPath("/"), "/");
}

TEST(RealPlaces, LeaveTheDirectoryOfTheProcessItself) {
  EXPECT_EQ(realPath("/proc/self/maps"), "/proc/self/maps");
  EXPECT_EQ(realPath("/proc/self"), "/proc/self");
}

TEST(RealPlaces, JoinRulesThatAreOneForTheKernel) {
  const TemporaryDirectory directory;
  std::filesystem::create_directory_symlink("/usr", directory / "link");
  const Policy policy = withRealPaths(testing::compiled("allow write " + directory / "link" + "\nallow read /usr\n"));
  ASSERT_EQ(policy.paths.size(), 1U);
  EXPECT_EQ(policy.paths[0].path, "/usr");
  ASSERT_EQ(policy.paths[0].grants.size(), 2U);
  EXPECT_EQ(policy.paths[0].grants[0].line.line, 1U);
  EXPECT_TRUE(policy.paths[0].rights.contains(Right::Write));
}

TEST(RealPlaces, HaveNoRulesBehindLinksThatTheProfileLetsBeMade) {
  const TemporaryDirectory directory;
  std::filesystem::create_directory_symlink("/usr", directory / "link");
  const RealPolicy real = realPolicyOf(
      testing::compiled("allow create " + directory.path() + "\nallow read,write " + directory / "link" + "\n"));
  ASSERT_EQ(real.policy.paths.size(), 1U);
  EXPECT_EQ(real.policy.paths[0].path, directory.path());
  ASSERT_EQ(real.refused.size(), 1U);
  EXPECT_EQ(real.refused[0].path, directory / "link");
  EXPECT_EQ(real.refused[0].rule.path, "/usr");
  EXPECT_TRUE(real.refused[0].rule.rights.contains(Right::Write));
  EXPECT_EQ(real.refused[0].rule.grants.size(), 1U);
  EXPECT_TRUE(real.refused[0].reason.ends_with("so that it is not followed")) << real.refused[0].reason;
}

}  // namespace
}  // namespace vanto::tool
