// SPDX-License-Identifier: Apache-2.0
#include "vanto/RealPlaces.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "sandbox/Profile.h"
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
  const ProfileResult result = compileProfile("allow write " + directory / "link" + "\nallow read /usr\n", {});
  const Policy policy = withRealPaths(*result.policy);
  ASSERT_EQ(policy.paths.size(), 1U);
  EXPECT_EQ(policy.paths[0].path, "/usr");
  ASSERT_EQ(policy.paths[0].grants.size(), 2U);
  EXPECT_EQ(policy.paths[0].grants[0].line.line, 1U);
  EXPECT_TRUE(policy.paths[0].rights.contains(Right::Write));
}

}  // namespace
}  // namespace vanto::tool
