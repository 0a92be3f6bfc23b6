// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <VantoService/KorFunctions.h>
#include <VantoService/PropertyList.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Ref;

TEST(KorPropertyList, WritesAndReadsAValue) {
  const PlistDictionary* value = dictionary({{string("a"), number(1)}, {string("b"), array({string("<")})}});
  const Ref<PlistData> bytes =
      Ref<PlistData>::adopt(KorPropertyListCreateBytes(const_cast<PlistDictionary*>(value), KorPropertyListXMLFormat));
  ASSERT_TRUE(bytes);
  const Ref<PlistValue> read = Ref<PlistValue>::adopt(KorPropertyListCreateFromBytes(bytes.get()));
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->isEqual(value));
}

TEST(KorPropertyList, WritesAndReadsTheBinaryForm) {
  PlistString* value = string("a\x01");
  const Ref<PlistData> bytes = Ref<PlistData>::adopt(KorPropertyListCreateBytes(value, KorPropertyListBinaryFormat));
  ASSERT_TRUE(bytes);
  EXPECT_TRUE(bytes->isEqual(vanto::createPropertyListBinary(*value).get()));
  const Ref<PlistValue> read = Ref<PlistValue>::adopt(KorPropertyListCreateFromBytes(bytes.get()));
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->isEqual(value));
}

TEST(KorPropertyList, GivesNothingForOtherFormats) {
  for (const std::int32_t format : {-1, 0, 99, 101, 199, 201}) {
    EXPECT_EQ(KorPropertyListCreateBytes(string("a"), format), nullptr) << format;
  }
}

TEST(KorPropertyList, GivesNothingForWhatAFormatCannotCarry) {
  EXPECT_EQ(KorPropertyListCreateBytes(array({nullptr}), KorPropertyListXMLFormat), nullptr);
  EXPECT_EQ(KorPropertyListCreateBytes(array({nullptr}), KorPropertyListBinaryFormat), nullptr);
}

TEST(KorPropertyList, GivesNothingForBytesThatAreNoPropertyList) {
  const std::uint8_t bytes[] = {'<', 'p'};
  EXPECT_EQ(KorPropertyListCreateFromBytes(PlistData::create(bytes).get()), nullptr);
}

TEST(KorPropertyListDeathTest, RefusesNull) {
  EXPECT_DEATH(KorPropertyListCreateFromBytes(nullptr), "function KorPropertyListCreateFromBytes");
  EXPECT_DEATH(KorPropertyListCreateBytes(nullptr, KorPropertyListXMLFormat), "function KorPropertyListCreateBytes");
}

}  // namespace
