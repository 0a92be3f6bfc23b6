// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <VantoService/PlistNumber.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;

TEST(PlistBoolean, ExistsOnceForEachValue) {
  EXPECT_EQ(PlistBoolean::of(true), PlistBoolean::of(true));
  EXPECT_EQ(PlistBoolean::of(false), PlistBoolean::of(false));
  EXPECT_NE(PlistBoolean::of(true), PlistBoolean::of(false));
  EXPECT_TRUE(PlistBoolean::of(true)->value());
  EXPECT_FALSE(PlistBoolean::of(false)->value());
}

TEST(PlistBoolean, IsANumberOfSubtype7) {
  EXPECT_TRUE(PlistBoolean::of(true)->isKindOf(PlistNumber::classDescriptor()));
  EXPECT_EQ(PlistBoolean::of(true)->subtype(), KorNumberCharType);
  EXPECT_FALSE(PlistBoolean::of(true)->isReal());
  EXPECT_EQ(PlistBoolean::of(true)->int64Value(), 1);
  EXPECT_EQ(PlistBoolean::of(false)->doubleValue(), 0);
  EXPECT_TRUE(PlistBoolean::of(true)->truthValue());
  EXPECT_FALSE(PlistBoolean::of(false)->truthValue());
}

TEST(PlistBoolean, EqualsItselfAlone) {
  EXPECT_TRUE(PlistBoolean::of(true)->isEqual(PlistBoolean::of(true)));
  EXPECT_FALSE(PlistBoolean::of(true)->isEqual(PlistBoolean::of(false)));
}

TEST(PlistBoolean, DescribesItselfAs1Or0) {
  EXPECT_EQ(description(*PlistBoolean::of(true)), "1");
  EXPECT_EQ(description(*PlistBoolean::of(false)), "0");
}

}  // namespace
