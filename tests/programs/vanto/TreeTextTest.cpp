// SPDX-License-Identifier: Apache-2.0
#include "vanto/TreeText.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(TreeText, IndentsByTwoBlanksALevel) {
  TreeText text;
  EXPECT_TRUE(text.add(0, "a"));
  EXPECT_TRUE(text.add(2, "b"));
  EXPECT_EQ(text.take(), "a\n    b\n");
}

TEST(TreeText, TakesAsMuchAsItsLimitAndNotOneByteMore) {
  TreeText exact(6);
  EXPECT_TRUE(exact.add(0, "a"));
  EXPECT_TRUE(exact.add(1, "b"));
  EXPECT_FALSE(exact.isFull());
  EXPECT_EQ(exact.take(), "a\n  b\n");

  TreeText larger(6);
  EXPECT_TRUE(larger.add(0, "a"));
  EXPECT_FALSE(larger.add(1, "bc"));
  EXPECT_TRUE(larger.isFull());
}

TEST(TreeText, SaysOnceThatItWasCut) {
  TreeText text(std::size_t{1} << 20);
  EXPECT_TRUE(text.add(0, "a"));
  EXPECT_FALSE(text.add(std::size_t{1} << 19, ""));
  EXPECT_FALSE(text.add(0, "b"));
  EXPECT_EQ(text.take(), "a\n(cut off here: the rest would make this more than 1 MiB)\n");
}

}  // namespace
}  // namespace vanto::tool
