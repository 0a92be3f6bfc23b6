// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyPath.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(KeyPath, NamesKeysAndElements) {
  EXPECT_EQ(KeyPath().key("VantoService").key("_AllowedClients").element(2).text(), "VantoService._AllowedClients[2]");
  EXPECT_EQ(KeyPath().element(0).key("a").text(), "[0].a");
}

TEST(KeyPath, QuotesKeysThatCouldBeTakenForAPath) {
  EXPECT_EQ(KeyPath().key("a.b").key("").text(), "\"a.b\".\"\"");
  EXPECT_EQ(KeyPath().key("\x1b").text(), "\"\\x1b\"");
}

TEST(KeyPath, HasWordsForTheOutermostValue) {
  EXPECT_EQ(KeyPath().text(), "");
  EXPECT_EQ(KeyPath().name(), "the outermost value");
  EXPECT_EQ(KeyPath().key("a").name(), "a");
}

}  // namespace
}  // namespace vanto::tool
