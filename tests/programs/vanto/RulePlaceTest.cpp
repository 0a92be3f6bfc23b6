// SPDX-License-Identifier: Apache-2.0
#include "vanto/RulePlace.h"

#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

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

TEST(RulePlace, IsNoneForWhatIsOnlyOpen) {
  const test::TemporaryDirectory directory;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd readEnd(ends[0]);
  const Fd writeEnd(ends[1]);
  std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(ends[1]), directory / "link");
  EXPECT_TRUE(placelessEndOf(directory / "link").starts_with("pipe:["));
  EXPECT_TRUE(placelessEndOf("/proc/self/ns/net").starts_with("net:["));
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  for (const std::string& path : {directory.path(), directory / "fifo", directory / "none", std::string("/dev/null")}) {
    EXPECT_EQ(placelessEndOf(path), "") << path;
  }
}

}  // namespace
}  // namespace vanto::tool
