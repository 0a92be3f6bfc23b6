// SPDX-License-Identifier: Apache-2.0
#include "code/Fields.h"

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/PropertyLists.h"
#include "support/Values.h"

namespace vanto::code {
namespace {

class FieldsTest : public ::testing::Test {
 protected:
  const TemporaryScope scope_;
  PlistDictionary* const dictionary_ = testing::dictionary(
      {{testing::string("Text"), testing::string("t")}, {testing::string("Number"), testing::number(1)}});
};

TEST_F(FieldsTest, AreFineWhenEachWasTaken) {
  Fields fields(*dictionary_);
  std::string text;
  EXPECT_TRUE(fields.takeText("Text", text));
  EXPECT_EQ(text, "t");
  EXPECT_NE(fields.take<PlistNumber>("Number"), nullptr);
  EXPECT_EQ(fields.take<PlistNumber>("Other", Fields::Need::Optional), nullptr);
  EXPECT_EQ(fields.problem(), "");
}

TEST_F(FieldsTest, SayWhatIsMissingOfAnotherKindOrUnknown) {
  Fields missing(*dictionary_);
  EXPECT_EQ(missing.take<PlistNumber>("Other"), nullptr);
  EXPECT_EQ(missing.problem(), "Other is missing");
  Fields wrong(*dictionary_);
  std::uint8_t bytes[1];
  EXPECT_FALSE(wrong.takeBytes("Text", bytes, Fields::Need::Optional));
  EXPECT_EQ(wrong.problem(), "Text has a value of another kind");
  Fields rest(*dictionary_);
  EXPECT_NE(rest.take<PlistNumber>("Number"), nullptr);
  EXPECT_EQ(rest.problem(), "it has entries that are not known");
}

TEST_F(FieldsTest, TakeExactlySoManyBytes) {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  const std::uint8_t three[] = {1, 2, 3};
  setField(*dictionary, "Bytes", createData(three));
  std::uint8_t taken[3] = {};
  EXPECT_TRUE(Fields(*dictionary).takeBytes("Bytes", taken));
  EXPECT_EQ(taken[2], 3);
  std::uint8_t four[4];
  Fields fields(*dictionary);
  EXPECT_FALSE(fields.takeBytes("Bytes", four));
  EXPECT_EQ(fields.problem(), "Bytes does not have 4 bytes");
}

TEST_F(FieldsTest, ComeFromXmlOnly) {
  std::string problem;
  EXPECT_TRUE(readDictionary(writeDictionary(*dictionary_), problem));
  EXPECT_FALSE(readDictionary(testing::writtenBinary(*dictionary_), problem));
  EXPECT_EQ(problem, "is not XML");
  EXPECT_FALSE(readDictionary("<plist version=\"1.0\"><array/></plist>", problem));
  EXPECT_EQ(problem, "is no dictionary");
  EXPECT_FALSE(readDictionary("", problem));
  EXPECT_TRUE(problem.starts_with("is no property list: ")) << problem;
}

}  // namespace
}  // namespace vanto::code
