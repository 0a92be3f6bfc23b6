// SPDX-License-Identifier: Apache-2.0
#include "ipc/ScalarObject.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "host/ipc/BalancedTest.h"

using vanto::BoolObject;
using vanto::DoubleObject;
using vanto::Int64Object;
using vanto::Ref;

using ScalarObjectTest = vanto::test::BalancedTest;

TEST_F(ScalarObjectTest, ThereAreTwoBoolsForGood) {
  const Ref<BoolObject> yes = BoolObject::create(true);
  const Ref<BoolObject> no = BoolObject::create(false);
  EXPECT_TRUE(yes->value());
  EXPECT_FALSE(no->value());
  EXPECT_EQ(yes.get(), BoolObject::create(true).get());
  EXPECT_EQ(no.get(), BoolObject::create(false).get());
  EXPECT_EQ(yes->referenceCount(), UINT32_MAX);
  yes->release();
  yes->release();
  EXPECT_TRUE(yes->value());
}

TEST_F(ScalarObjectTest, IntegersKeepTheirWholeRange) {
  for (const std::int64_t value : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min(),
                                   std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(Int64Object::create(value)->value(), value);
  }
}

TEST_F(ScalarObjectTest, DoublesKeepEveryBit) {
  EXPECT_TRUE(std::signbit(DoubleObject::create(-0.0)->value()));
  EXPECT_TRUE(std::isinf(DoubleObject::create(HUGE_VAL)->value()));
  const auto unusualNaN = std::bit_cast<double>(std::uint64_t{0x7ff8'0000'dead'beef});
  EXPECT_EQ(std::bit_cast<std::uint64_t>(DoubleObject::create(unusualNaN)->value()), 0x7ff8'0000'dead'beef);
}
