// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Allowance.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

TEST(Allowance, IsUsedUpWithinItsSpan) {
  Allowance allowance(3, 100);
  EXPECT_TRUE(allowance.use(1000));
  EXPECT_TRUE(allowance.use(1050));
  EXPECT_FALSE(allowance.use(1099));
  EXPECT_EQ(allowance.renewal(), 1100U);
  EXPECT_FALSE(allowance.use(1099)) << "more than is allowed";
}

TEST(Allowance, IsThereAgainAfterItsSpan) {
  Allowance allowance(2, 100);
  EXPECT_TRUE(allowance.use(1000));
  EXPECT_FALSE(allowance.use(1000));
  EXPECT_TRUE(allowance.use(1100));
  EXPECT_EQ(allowance.renewal(), 1200U);
  EXPECT_FALSE(allowance.use(1150));
}

TEST(Allowance, IsNeverUsedUpByWhoKeepsToIt) {
  Allowance allowance(2, 100);
  for (std::uint64_t now = 7; now < 100'000; now += 100) EXPECT_TRUE(allowance.use(now));
}

}  // namespace
}  // namespace vanto::manager
