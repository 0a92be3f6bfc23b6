// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Children.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

TEST(Children, AreKnownForAWhileAfterTheirEnd) {
  Children children;
  children.insert(7);
  EXPECT_TRUE(children.contains(7));
  EXPECT_FALSE(children.hasEnded(7, 1'000));
  children.erase(7, 1'000);
  EXPECT_TRUE(children.empty());
  EXPECT_TRUE(children.hasEnded(7, 1'000 + Children::memory));
  EXPECT_FALSE(children.hasEnded(7, 1'001 + Children::memory));
  EXPECT_FALSE(children.hasEnded(8, 1'000));
  children.erase(8, 1'000);
  EXPECT_FALSE(children.hasEnded(8, 1'000)) << "one that was never there";
}

TEST(Children, TellThatOneHasEndedWhenItIsKnownToHave) {
  Children children;
  int ends = 0;
  children.observeEnds([&] {
    EXPECT_FALSE(children.contains(7));
    EXPECT_TRUE(children.hasEnded(7, 1'000));
    ends++;
  });
  children.insert(7);
  children.erase(8, 1'000);
  EXPECT_EQ(ends, 0);
  children.erase(7, 1'000);
  EXPECT_EQ(ends, 1);
}

}  // namespace
}  // namespace vanto::manager
