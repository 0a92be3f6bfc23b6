// SPDX-License-Identifier: Apache-2.0
#include "tolvend/InstanceLimit.h"

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::manager {
namespace {

TEST(InstanceLimit, CountsEachUserUpToTheLimit) {
  InstanceLimit limit;
  for (std::size_t count = 0; count < limits::instancesPerUser; ++count) EXPECT_TRUE(limit.take(1));
  EXPECT_FALSE(limit.take(1));
  EXPECT_EQ(limit.count(1), limits::instancesPerUser);
  EXPECT_TRUE(limit.take(2));
}

TEST(InstanceLimit, HasRoomAgainForEachGivenBack) {
  InstanceLimit limit;
  while (limit.take(1)) {
  }
  limit.giveBack(1);
  EXPECT_TRUE(limit.take(1));
  EXPECT_FALSE(limit.take(1));
}

TEST(InstanceLimit, KnowsNobodyWithoutInstances) {
  InstanceLimit limit;
  EXPECT_EQ(limit.count(7), 0U);
  EXPECT_TRUE(limit.take(7));
  limit.giveBack(7);
  EXPECT_EQ(limit.count(7), 0U);
}

TEST(InstanceLimitDeathTest, AbortsWhenMoreIsGivenBackThanTaken) {
  InstanceLimit limit;
  EXPECT_DEATH(limit.giveBack(1), "");
}

}  // namespace
}  // namespace vanto::manager
