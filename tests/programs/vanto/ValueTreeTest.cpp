// SPDX-License-Identifier: Apache-2.0
#include "vanto/ValueTree.h"

#include <algorithm>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/Nesting.h"
#include "support/PropertyLists.h"

namespace vanto::tool {
namespace {

using testing::readElement;

std::string treeOfElement(const char* element) {
  const TemporaryScope scope;
  return treeOf(readElement(element).get());
}

TEST(ValueTree, ShowsALineForEachEntry) {
  EXPECT_EQ(treeOfElement("<dict><key>b</key><array><integer>1</integer><dict><key>c</key><true/></dict></array>"
                          "<key>a</key><string>x</string><key>d</key><dict/><key>e</key><array/></dict>"),
            "a: \"x\"\n"
            "b:\n"
            "  [0]: 1\n"
            "  [1]:\n"
            "    c: true\n"
            "d: {}\n"
            "e: []\n");
}

TEST(ValueTree, TellsKindsApart) {
  EXPECT_EQ(treeOfElement("<string>1</string>"), "\"1\"\n");
  EXPECT_EQ(treeOfElement("<integer>1</integer>"), "1\n");
  EXPECT_EQ(treeOfElement("<real>1</real>"), "1.0\n");
  EXPECT_EQ(treeOfElement("<real>0.1</real>"), "0.1\n");
  EXPECT_EQ(treeOfElement("<real>nan</real>"), "nan\n");
  EXPECT_EQ(treeOfElement("<true/>"), "true\n");
  EXPECT_EQ(treeOfElement("<data>AQ==</data>"), "1 byte 01\n");
  EXPECT_EQ(treeOfElement("<data/>"), "0 bytes\n");
  EXPECT_EQ(treeOfElement("<data>AAECAwQFBgcICQoLDA0ODxA=</data>"), "17 bytes 000102030405060708090a0b0c0d0e0f…\n");
  EXPECT_EQ(treeOfElement("<date>2001-09-09T01:46:40Z</date>"), "2001-09-09T01:46:40Z\n");
}

TEST(ValueTree, EscapesKeysAndTexts) {
  EXPECT_EQ(treeOfElement("<dict><key>&#x9b;</key><string>\n</string><key>a: b</key><string/></dict>"),
            "\"a: b\": \"\"\n\\u{009b}: \"\\n\"\n");
}

TEST(ValueTree, ShowsHolesAndDeepValues) {
  const TemporaryScope scope;
  Object* hole = nullptr;
  EXPECT_EQ(treeOf(PlistArray::create({&hole, 1}).get()), "[0]: (nothing)\n");
  const Ref<PlistString> string = PlistString::create("x");
  const std::string tree = treeOf(testing::nestedContainers(512, *string).get());
  EXPECT_EQ(std::count(tree.begin(), tree.end(), '\n'), 512);
}

TEST(ValueTree, EndsWhereTheTextIsFull) {
  const TemporaryScope scope;
  const char* element = "<dict><key>a</key><array><true/><true/></array><key>b</key><true/></dict>";
  EXPECT_EQ(treeOf(readElement(element).get(), 0, TreeText(16)),
            "a:\n  [0]: true\n(cut off here: the rest would make this more than 0 MiB)\n");
}

}  // namespace
}  // namespace vanto::tool
