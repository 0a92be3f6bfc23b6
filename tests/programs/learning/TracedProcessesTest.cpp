// SPDX-License-Identifier: Apache-2.0
#include "learning/TracedProcesses.h"

#include <gtest/gtest.h>

#include "learning/limits.h"

namespace vanto::learning {
namespace {

using Directory = TracedProcesses::Directory;
using Descriptors = TracedProcesses::Descriptors;

TEST(TracedProcesses, KnowTheFirstOneAndThoseThatWereMade) {
  TracedProcesses processes("/w");
  EXPECT_EQ(processes.command(), 0);
  EXPECT_TRUE(processes.isKnown(5));
  EXPECT_EQ(processes.command(), 5);
  EXPECT_FALSE(processes.isKnown(6));
  processes.add(5, 6, Directory::Own, Descriptors::Own);
  EXPECT_TRUE(processes.isKnown(6));
  processes.end(6);
  EXPECT_FALSE(processes.isKnown(6));
  EXPECT_TRUE(processes.hasBeen(6));
  EXPECT_FALSE(processes.hasBeen(7));
}

TEST(TracedProcesses, HaveDirectoriesOfTheirOwnUnlessTheyShareOne) {
  TracedProcesses processes("/w");
  ASSERT_TRUE(processes.isKnown(5));
  processes.enter(5, "a");
  processes.add(5, 6, Directory::Own, Descriptors::Own);
  processes.add(5, 7, Directory::Shared, Descriptors::Shared);
  processes.enter(5, "../b");
  EXPECT_EQ(processes.absolute(5, "x"), "/w/a/../b/x");
  EXPECT_EQ(processes.absolute(6, "x"), "/w/a/x");
  EXPECT_EQ(processes.absolute(7, "x"), "/w/a/../b/x");
  processes.enter(7, "/c");
  EXPECT_EQ(processes.absolute(5, ""), "/c");
  EXPECT_EQ(processes.absolute(5, "/d"), "/d");
}

TEST(TracedProcesses, GoOnFromWhatADescriptorLeadsTo) {
  TracedProcesses processes("/w");
  ASSERT_TRUE(processes.isKnown(5));
  processes.open(5, 7, "/d");
  for (const char* path : {"/proc/self/fd/7/x", "/proc/thread-self/fd/7/x", "/proc/5/fd/7/x", "/dev/fd/7/x"}) {
    EXPECT_EQ(processes.absolute(5, path), "/d/x") << path;
  }
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/7"), "/d");
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/8/x"), "");
  EXPECT_EQ(processes.absolute(5, "/proc/6/fd/7/x"), "");
  processes.open(5, 7, "");
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/7/x"), "");
}

TEST(TracedProcesses, GoOnFromTheirDirectoryAndTheRoot) {
  TracedProcesses processes("/w");
  ASSERT_TRUE(processes.isKnown(5));
  processes.open(5, 7, "/");
  processes.enter(5, "/proc/self/cwd/a");
  EXPECT_EQ(processes.absolute(5, "/proc/self/cwd/x"), "/w/a/x");
  EXPECT_EQ(processes.absolute(5, "/proc/self/root/x"), "/x");
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/7/x"), "/x");
  EXPECT_EQ(processes.absolute(5, "/proc/self/root"), "/");
  processes.enter(5, "/proc/self/fd/8");
  EXPECT_EQ(processes.absolute(5, "x"), "");
}

TEST(TracedProcesses, GoThroughLinksBehindLinksAndNeverInACircle) {
  TracedProcesses processes("/w");
  ASSERT_TRUE(processes.isKnown(5));
  processes.open(5, 7, "/proc/5/fd");
  processes.open(5, 8, "/d");
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/7/8/x"), "/d/x");
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/7/7/7/8/x"), "/d/x");
  processes.open(5, 7, "/proc/self/fd/7");
  EXPECT_EQ(processes.absolute(5, "/proc/self/fd/7"), "");
  processes.enter(5, "/proc/self/cwd");
  EXPECT_EQ(processes.absolute(5, "x"), "/w/x");
}

TEST(TracedProcesses, HaveDescriptorsOfTheirOwnUnlessTheyShareThem) {
  TracedProcesses processes("/w");
  ASSERT_TRUE(processes.isKnown(5));
  processes.open(5, 7, "/a");
  processes.add(5, 6, Directory::Own, Descriptors::Own);
  processes.add(5, 8, Directory::Own, Descriptors::Shared);
  processes.open(5, 7, "/b");
  EXPECT_EQ(processes.absolute(6, "/proc/self/fd/7"), "/a");
  EXPECT_EQ(processes.absolute(6, "/proc/5/fd/7"), "/b");
  EXPECT_EQ(processes.absolute(8, "/proc/self/fd/7"), "/b");
  processes.execute(8);
  processes.open(5, 7, "/c");
  EXPECT_EQ(processes.absolute(8, "/proc/self/fd/7"), "/b");
}

TEST(TracedProcesses, ForgetADirectoryWhoseWayGrowsTooLong) {
  TracedProcesses processes("/w");
  ASSERT_TRUE(processes.isKnown(5));
  for (std::size_t bytes = 0; bytes <= limits::directoryBytes; bytes += 5) processes.enter(5, "a/..");
  EXPECT_EQ(processes.absolute(5, "x"), "");
  EXPECT_EQ(processes.absolute(5, "/x"), "/x");
  processes.enter(5, "/y");
  EXPECT_EQ(processes.absolute(5, "x"), "/y/x");
}

TEST(TracedProcesses, AreNoMoreThanTheirLimitAtOneTime) {
  TracedProcesses processes("/");
  ASSERT_TRUE(processes.isKnown(1));
  for (std::int64_t thread = 2; thread <= std::int64_t{limits::threads} + 1; thread++) {
    processes.add(1, thread, TracedProcesses::Directory::Own, TracedProcesses::Descriptors::Own);
  }
  EXPECT_TRUE(processes.isKnown(limits::threads));
  EXPECT_FALSE(processes.isKnown(limits::threads + 1));
  processes.end(2);
  processes.add(1, limits::threads + 1, TracedProcesses::Directory::Own, TracedProcesses::Descriptors::Own);
  EXPECT_TRUE(processes.isKnown(limits::threads + 1));
}

}  // namespace
}  // namespace vanto::learning
