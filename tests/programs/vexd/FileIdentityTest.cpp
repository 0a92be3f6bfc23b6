// SPDX-License-Identifier: Apache-2.0
#include "vexd/FileIdentity.h"

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

TEST(FileIdentity, IsNotReliableOnAFileSystemOfAnotherKind) {
  FileIdentity identity;
  EXPECT_FALSE(FileIdentity::of(openFile("/proc/self/status").get(), identity));
}

}  // namespace
}  // namespace vanto::testing
