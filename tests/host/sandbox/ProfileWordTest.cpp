// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileWord.h"

#include <gtest/gtest.h>

namespace {

using vanto::ProfileWord;
using Kind = ProfileWord::Piece::Kind;

TEST(ProfileWord, IsPlainTextWithoutParameters) {
  ProfileWord word;
  EXPECT_EQ(word.plainText(), "");
  word.pieces.push_back({Kind::Text, "/a", {}});
  EXPECT_EQ(word.plainText(), "/a");
  EXPECT_FALSE(word.hasParameters());
  word.pieces.push_back({Kind::Parameter, "X", {}});
  EXPECT_EQ(word.plainText(), std::nullopt);
  EXPECT_TRUE(word.hasParameters());
  EXPECT_EQ(word.shown(), R"("/a\${X}")");
}

TEST(ProfileWord, IsNoPlainTextWhenItIsOneParameter) {
  ProfileWord word;
  word.pieces.push_back({Kind::Parameter, "X", {}});
  EXPECT_EQ(word.plainText(), std::nullopt);
}

TEST(ProfileWord, IsWrittenWithQuotesWhereItNeedsThem) {
  EXPECT_EQ(vanto::writtenWord("/a/b#c"), "/a/b#c");
  EXPECT_EQ(vanto::writtenWord("/ä"), "/ä");
  EXPECT_EQ(vanto::writtenWord(""), "\"\"");
  EXPECT_EQ(vanto::writtenWord("#a"), "\"#a\"");
  EXPECT_EQ(vanto::writtenWord("/a b"), "\"/a b\"");
  EXPECT_EQ(vanto::writtenWord("/\"\\$\n\t"), R"("/\"\\\$\n\t")");
  EXPECT_EQ(vanto::writtenWord("/\x01\x7f\r"), R"("/\x01\x7f\x0d")");
  EXPECT_EQ(vanto::writtenWord("/\xff"), R"("/\xff")");
  EXPECT_EQ(vanto::writtenWord("/ä\xff"), R"("/\xc3\xa4\xff")");
}

TEST(ProfileWord, HidesNothingFromItsReader) {
  EXPECT_EQ(vanto::writtenWord("/a\u202eb"), R"("/a\xe2\x80\xaeb")");
  EXPECT_EQ(vanto::writtenWord("/\u200b\U000e0001\u0085"), R"("/\xe2\x80\x8b\xf3\xa0\x80\x81\xc2\x85")");
  EXPECT_EQ(vanto::writtenWord("/\U0001f600€"), "/\U0001f600€");
}

TEST(ProfileWord, IsShownOnOneLineAndCutBetweenCharacters) {
  EXPECT_EQ(vanto::shownWord("a\nb"), R"("a\nb")");
  EXPECT_EQ(vanto::shownWord(std::string(120, 'a')), "\"" + std::string(120, 'a') + "\"");
  EXPECT_EQ(vanto::shownWord(std::string(121, 'a')), "\"" + std::string(120, 'a') + "…\"");
  EXPECT_EQ(vanto::shownWord(std::string(119, 'a') + "ä"), "\"" + std::string(119, 'a') + "…\"");
}

}  // namespace
