// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistDate.h>

#include <limits>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Ref;

TEST(PlistDate, KeepsItsTimeExactly) {
  for (const double seconds : {0.0, -1.25, 1795248000.1, 1e300}) {
    EXPECT_EQ(PlistDate::create(seconds)->secondsSince1970(), seconds);
  }
}

TEST(PlistDate, EqualsTheSameTimeAlone) {
  const Ref<PlistDate> date = PlistDate::create(5);
  EXPECT_TRUE(date->isEqual(PlistDate::create(5).get()));
  EXPECT_FALSE(date->isEqual(PlistDate::create(6).get()));
  EXPECT_FALSE(date->isEqual(real(5)));
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(PlistDate::create(notANumber)->isEqual(PlistDate::create(notANumber).get()));
}

TEST(PlistDate, DescribesItselfInUniversalTime) {
  EXPECT_EQ(description(*PlistDate::create(1795248000)), "2026-11-21T08:00:00Z");
}

}  // namespace
