// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/OpenDescriptors.h"
#include "value/LiveObjects.h"

namespace vanto::test {

/// A test that must leave as many objects and the same descriptors as it found.
class BalancedTest : public testing::Test {
 protected:
  void SetUp() override {
    objects_ = liveObjectCount();
    descriptors_ = openDescriptors();
  }
  void TearDown() override {
    EXPECT_EQ(liveObjectCount(), objects_);
    EXPECT_EQ(openDescriptors(), descriptors_);
  }

 private:
  std::int64_t objects_ = 0;
  std::set<std::string> descriptors_;
};

}  // namespace vanto::test
