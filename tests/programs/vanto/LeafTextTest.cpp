// SPDX-License-Identifier: Apache-2.0
#include "vanto/LeafText.h"

#include <string>

#include <gtest/gtest.h>

#include <VantoService/PlistDate.h>

#include "support/PropertyLists.h"

namespace vanto::tool {
namespace {

using vanto::testing::bytesOf;

std::string reread(LeafKind kind, std::string_view text) {
  std::string problem;
  const Ref<PlistValue> leaf = createLeaf(kind, text, problem);
  return leaf ? leafText(*leaf, problem) : "refused: " + problem;
}

TEST(LeafText, HoldsDataAndDatesAsXmlDoes) {
  std::string problem;
  EXPECT_EQ(leafText(*PlistData::create(bytesOf("\1\2\3")), problem), "AQID");
  EXPECT_EQ(leafText(*PlistData::create({}), problem), "");
  EXPECT_EQ(leafText(*PlistDate::create(1e9), problem), "2001-09-09T01:46:40Z");
  EXPECT_EQ(problem, "");
}

TEST(LeafText, IsReadBack) {
  EXPECT_EQ(reread(LeafKind::Data, "AQID"), "AQID");
  EXPECT_EQ(reread(LeafKind::Data, ""), "");
  EXPECT_EQ(reread(LeafKind::Date, "2001-09-09T01:46:40Z"), "2001-09-09T01:46:40Z");
}

TEST(LeafText, IsNotOfAThousandthOfASecond) {
  std::string problem;
  EXPECT_EQ(leafText(*PlistDate::create(0.5), problem), "");
  EXPECT_NE(problem, "");
}

TEST(LeafText, CannotSmuggleElements) {
  EXPECT_TRUE(reread(LeafKind::Date, "</date><date>2001-09-09T01:46:40Z").starts_with("refused"));
  EXPECT_TRUE(reread(LeafKind::Data, "AQ&#73;D").starts_with("refused"));
  EXPECT_TRUE(reread(LeafKind::Data, "A").starts_with("refused"));
  EXPECT_TRUE(reread(LeafKind::Date, "2001-02-30T00:00:00Z").starts_with("refused"));
}

}  // namespace
}  // namespace vanto::tool
