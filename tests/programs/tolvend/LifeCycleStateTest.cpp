// SPDX-License-Identifier: Apache-2.0
#include "tolvend/LifeCycleState.h"

#include <gtest/gtest.h>

namespace vanto::manager {
namespace {

TEST(LifeCycleState, HasAWord) {
  EXPECT_STREQ(stateName(LifeCycleState::Resting), "resting");
  EXPECT_STREQ(stateName(LifeCycleState::Pausing), "pausing");
  EXPECT_STREQ(stateName(LifeCycleState::Starting), "starting");
  EXPECT_STREQ(stateName(LifeCycleState::Running), "running");
  EXPECT_STREQ(stateName(LifeCycleState::Stopping), "stopping");
  EXPECT_STREQ(stateName(LifeCycleState::Held), "held");
}

}  // namespace
}  // namespace vanto::manager
