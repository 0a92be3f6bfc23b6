// SPDX-License-Identifier: Apache-2.0
#include "sandbox/DirectorySet.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {
namespace {

Fd opened(const std::string& path) {
  return Fd(open(path.c_str(), O_PATH | O_CLOEXEC));
}

class DirectorySetTest : public ::testing::Test {
 protected:
  DirectorySetTest() {
    for (const char* name : {"a", "a/b", "a/b/c", "ab"}) EXPECT_EQ(mkdir((directory_ / name).c_str(), 0700), 0);
    set_.add(opened(directory_ / "a/b"));
  }

  const test::TemporaryDirectory directory_;
  DirectorySet set_;
};

TEST_F(DirectorySetTest, CoversItsDirectoriesAndWhatLiesBeneath) {
  EXPECT_TRUE(set_.covers(opened(directory_ / "a/b")));
  EXPECT_TRUE(set_.covers(opened(directory_ / "a/b/c")));
  EXPECT_FALSE(set_.covers(opened(directory_ / "a")));
  EXPECT_FALSE(set_.covers(opened(directory_ / "ab")));
  EXPECT_FALSE(set_.covers(opened("/")));
  EXPECT_FALSE(set_.isEmpty());
  EXPECT_TRUE(DirectorySet().isEmpty());
}

TEST_F(DirectorySetTest, KnowsThemByEachName) {
  ASSERT_EQ(symlink("a/b", (directory_ / "link").c_str()), 0);
  EXPECT_TRUE(set_.covers(opened(directory_ / "link")));
  EXPECT_TRUE(set_.covers(opened(directory_ / "link/c")));
  ASSERT_EQ(rename((directory_ / "a/b").c_str(), (directory_ / "moved").c_str()), 0);
  EXPECT_TRUE(set_.covers(opened(directory_ / "moved/c")));
}

TEST_F(DirectorySetTest, CoversAllWithTheRoot) {
  DirectorySet all;
  all.add(opened("/"));
  EXPECT_TRUE(all.covers(opened(directory_ / "a")));
}

TEST_F(DirectorySetTest, CoversWhatNothingCanBeFoundOutAbout) {
  EXPECT_TRUE(set_.covers(Fd()));
  DirectorySet none;
  none.add(Fd());
  EXPECT_TRUE(none.isEmpty());
}

TEST_F(DirectorySetTest, TakesNoDirectoryThatIsMountedWithinItselfForTheRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) _exit(98);
    const std::string around = directory_ / "a/b";
    ASSERT_EQ(mount(around.c_str(), (around + "/c").c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mkdir((around + "/d").c_str(), 0700), 0);
    DirectorySet above;
    above.add(opened(directory_ / "a"));
    EXPECT_TRUE(above.covers(opened(around + "/c/d")));
  });
  if (outcome.end == "exit status 98") GTEST_SKIP() << "a process may not make a namespace here";
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::testing
