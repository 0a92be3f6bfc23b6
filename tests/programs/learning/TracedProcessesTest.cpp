// SPDX-License-Identifier: Apache-2.0
#include "learning/TracedProcesses.h"

#include <gtest/gtest.h>

#include "learning/limits.h"

namespace vanto::learning {
namespace {

using Directory = TracedProcesses::Directory;

TEST(TracedProcesses, KnowTheFirstOneAndThoseThatWereMade) {
  TracedProcesses processes("/w");
  EXPECT_EQ(processes.command(), 0);
  EXPECT_TRUE(processes.isKnown(5));
  EXPECT_EQ(processes.command(), 5);
  EXPECT_FALSE(processes.isKnown(6));
  processes.add(5, 6, Directory::Own);
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
  processes.add(5, 6, Directory::Own);
  processes.add(5, 7, Directory::Shared);
  processes.enter(5, "../b");
  EXPECT_EQ(processes.absolute(5, "x"), "/w/a/../b/x");
  EXPECT_EQ(processes.absolute(6, "x"), "/w/a/x");
  EXPECT_EQ(processes.absolute(7, "x"), "/w/a/../b/x");
  processes.enter(7, "/c");
  EXPECT_EQ(processes.absolute(5, ""), "/c");
  EXPECT_EQ(processes.absolute(5, "/d"), "/d");
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

}  // namespace
}  // namespace vanto::learning
