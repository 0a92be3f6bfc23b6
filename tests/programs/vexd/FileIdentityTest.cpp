// SPDX-License-Identifier: Apache-2.0
#include "vexd/FileIdentity.h"

#include <filesystem>

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

using vexd::FileIdentity;

TEST(FileIdentity, IsReliableOnceAChangeIsLongAgo) {
  const test::TemporaryDirectory directory;
  const std::string path = directory / "file";
  writeContents(path, "one");
  FileIdentity first;
  EXPECT_FALSE(FileIdentity::of(openFile(path).get(), first));
  settle(path);
  ASSERT_TRUE(FileIdentity::of(openFile(path).get(), first));
  FileIdentity again;
  ASSERT_TRUE(FileIdentity::of(openFile(path).get(), again));
  EXPECT_EQ(first, again);
  EXPECT_EQ(first.size, 3);
  EXPECT_NE(first.inode, 0U);
  writeContents(path, "two");
  EXPECT_FALSE(FileIdentity::of(openFile(path).get(), again));
  EXPECT_NE(first, again);
}

TEST(FileIdentity, IsNothingForNoFile) {
  FileIdentity identity{1, 2, 3, 4, 5};
  EXPECT_TRUE(FileIdentity::of(-1, identity));
  EXPECT_EQ(identity, FileIdentity{});
}

TEST(FileIdentity, IsTheSameByThePath) {
  const test::TemporaryDirectory directory;
  const std::string path = directory / "file";
  const std::string link = directory / "link";
  writeContents(path, "one");
  std::filesystem::create_symlink(path, link);
  FileIdentity opened;
  static_cast<void>(FileIdentity::of(openFile(path).get(), opened));
  FileIdentity seen;
  ASSERT_TRUE(FileIdentity::at(path.c_str(), FileIdentity::Links::Themselves, seen));
  EXPECT_EQ(seen, opened);
  ASSERT_TRUE(FileIdentity::at(link.c_str(), FileIdentity::Links::Targets, seen));
  EXPECT_EQ(seen, opened);
  ASSERT_TRUE(FileIdentity::at(link.c_str(), FileIdentity::Links::Themselves, seen));
  EXPECT_NE(seen, opened);
}

TEST(FileIdentity, IsNothingWhereNothingIs) {
  const test::TemporaryDirectory directory;
  FileIdentity identity{1, 2, 3, 4, 5};
  EXPECT_TRUE(FileIdentity::at((directory / "missing").c_str(), FileIdentity::Links::Themselves, identity));
  EXPECT_FALSE(identity.isOfFile());
  const std::string tooLong = directory / std::string(300, 'x');
  EXPECT_FALSE(FileIdentity::at(tooLong.c_str(), FileIdentity::Links::Themselves, identity));
}

TEST(FileIdentity, HasTheDeviceOfStat) {
  struct stat status;
  ASSERT_EQ(stat("/dev/null", &status), 0);
  FileIdentity identity;
  ASSERT_TRUE(FileIdentity::at("/dev/null", FileIdentity::Links::Themselves, identity));
  EXPECT_EQ(identity.kernelDevice(), status.st_dev);
}

TEST(FileIdentity, IsNotReliableOnAFileSystemOfAnotherKind) {
  FileIdentity identity;
  EXPECT_FALSE(FileIdentity::of(openFile("/proc/self/status").get(), identity));
}

}  // namespace
}  // namespace vanto::testing
