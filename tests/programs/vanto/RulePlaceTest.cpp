// SPDX-License-Identifier: Apache-2.0
#include "vanto/RulePlace.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

TEST(RulePlace, IsWhatIsThereAtTheEndOfLinks) {
  const test::TemporaryDirectory directory;
  std::ofstream(directory / "file") << "x";
  std::filesystem::create_symlink(directory / "file", directory / "link");
  std::filesystem::create_symlink(directory / "none", directory / "dangling");
  EXPECT_EQ(rulePlaceOf(directory.path()), RulePlace::Directory);
  EXPECT_EQ(rulePlaceOf(directory / "file"), RulePlace::File);
  EXPECT_EQ(rulePlaceOf(directory / "link"), RulePlace::File);
  EXPECT_EQ(rulePlaceOf("/dev/null"), RulePlace::File);
  for (const char* name : {"none", "dangling", "file/x"}) {
    EXPECT_EQ(rulePlaceOf(directory / name), RulePlace::Absent) << name;
  }
}

TEST(RulePlace, LeavesSomeRightsWithoutEffect) {
  const RightSet rights = RightSet(Right::Read) | Right::Create | Right::Rename;
  EXPECT_EQ(idleRightsAt(RulePlace::Directory, rights), RightSet());
  EXPECT_EQ(idleRightsAt(RulePlace::File, rights), RightSet(Right::Create) | Right::Rename);
  EXPECT_EQ(idleRightsAt(RulePlace::Absent, rights), rights);
}

}  // namespace
}  // namespace vanto::tool
