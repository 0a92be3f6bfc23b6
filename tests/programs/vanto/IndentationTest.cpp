// SPDX-License-Identifier: Apache-2.0
#include "vanto/Indentation.h"

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/PropertyLists.h"

namespace vanto::tool {
namespace {

TEST(Indentation, CountsTheBlanksBeforeEachValue) {
  const TemporaryScope scope;
  // One blank for a, two for its elements, one for b.
  const Ref<PlistValue> value =
      testing::readElement("<dict><key>a</key><array><true/><true/></array><key>b</key><true/></dict>");
  EXPECT_FALSE(indentsBeyond(value.get(), 1, 6));
  EXPECT_TRUE(indentsBeyond(value.get(), 1, 5));
  EXPECT_FALSE(indentsBeyond(value.get(), 4, 24));
  EXPECT_TRUE(indentsBeyond(value.get(), 4, 23));
}

TEST(Indentation, IsNoneOfWhatIsNoContainer) {
  const TemporaryScope scope;
  EXPECT_FALSE(indentsBeyond(nullptr, 4, 0));
  EXPECT_FALSE(indentsBeyond(testing::readElement("<string>x</string>").get(), 4, 0));
}

}  // namespace
}  // namespace vanto::tool
