// SPDX-License-Identifier: Apache-2.0
#include "learning/OpenDescriptors.h"

#include <gtest/gtest.h>

#include "learning/limits.h"

namespace vanto::learning {
namespace {

TEST(OpenDescriptors, LeadWhereTheyWereLastSaidToLead) {
  OpenDescriptors descriptors;
  EXPECT_EQ(descriptors.pathOf(3), "");
  descriptors.set(3, "/a");
  descriptors.set(3, "/b");
  EXPECT_EQ(descriptors.pathOf(3), "/b");
  descriptors.set(3, "");
  EXPECT_EQ(descriptors.pathOf(3), "");
}

TEST(OpenDescriptors, AreNotKnownBeyondTheLimitAndNeverTakenForThoseBefore) {
  OpenDescriptors descriptors;
  constexpr auto most = static_cast<std::int64_t>(limits::descriptors);
  for (std::int64_t number = 0; number < most; ++number) descriptors.set(number, "/a");
  descriptors.set(most, "/b");
  EXPECT_EQ(descriptors.pathOf(most), "");
  descriptors.set(0, "/b");
  EXPECT_EQ(descriptors.pathOf(0), "/b");
  descriptors.set(1, "");
  descriptors.set(most, "/c");
  EXPECT_EQ(descriptors.pathOf(most), "/c");
}

}  // namespace
}  // namespace vanto::learning
