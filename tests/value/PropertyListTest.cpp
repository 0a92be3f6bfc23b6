// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/PropertyLists.h"
#include "support/Values.h"

namespace vanto {
namespace {

using namespace testing;

TEST(PropertyList, TellsTheFormsApartByTheirFirstByte) {
  const Object* value = dictionary({{string("a"), number(1)}});
  for (const std::string& document : {written(*value), writtenBinary(*value)}) {
    const Ref<PlistValue> read = readDocument(document);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->isEqual(value));
  }
}

TEST(PropertyList, TellsMistakesInTheWayOfTheForm) {
  EXPECT_EQ(mistakeIn("\xF5"), "0:2 expected more bytes");
  EXPECT_EQ(mistakeIn("\xF4"), "1:1 expected the root element <plist>");
  EXPECT_EQ(mistakeIn("values"), "1:1 expected the root element <plist>");
}

TEST(PropertyList, TakesNoBytesForXML) {
  PropertyListError error;
  EXPECT_FALSE(createPropertyList({}, &error));
  EXPECT_EQ(error.line, 1U);
  EXPECT_EQ(error.column, 1U);
}

TEST(PropertyList, LeavesTheErrorAloneWhenThereIsNone) {
  PropertyListError error{7, 8, "before"};
  for (const std::string& document : {written(*number(1)), writtenBinary(*number(1))}) {
    EXPECT_TRUE(createPropertyList(bytesOf(document), &error));
  }
  EXPECT_EQ(error.line, 7U);
  EXPECT_EQ(error.message, "before");
}

}  // namespace
}  // namespace vanto
