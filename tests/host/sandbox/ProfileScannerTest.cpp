// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileScanner.h"

#include <string>

#include <gtest/gtest.h>

#include "host/sandbox/Compiled.h"
#include "value/limits.h"

namespace {

using vanto::ProfileErrors;
using vanto::ProfileScanner;
using vanto::ProfileWord;

/// "LINE:COLUMN[piece]…" for each word, with <NAME> for a parameter; a line for each statement, then the errors.
std::string scannedAsItIs(std::string_view text) {
  ProfileErrors errors;
  ProfileScanner scanner(text, errors);
  std::string result;
  while (const auto words = scanner.nextStatement()) {
    for (const ProfileWord& word : *words) {
      result += std::to_string(word.position.line) + ":" + std::to_string(word.position.column);
      for (const ProfileWord::Piece& piece : word.pieces) {
        result += piece.kind == ProfileWord::Piece::Kind::Text ? "[" + piece.text + "]" : "<" + piece.text + ">";
      }
      result += " ";
    }
    result.back() = '\n';
  }
  for (const auto& error : errors.kept()) result += vanto::lineOf("p", error) + "\n";
  return result;
}

/// The same of a text whose last line ends, if need be with a line feed more.
std::string scanned(std::string_view text) {
  return scannedAsItIs(vanto::testing::ended(text));
}

TEST(ProfileScanner, CutsLinesIntoWords) {
  EXPECT_EQ(scanned(""), "");
  EXPECT_EQ(scanned("\n \t\n# comment\n  # \"comment\n"), "");
  EXPECT_EQ(scanned("allow read /a"), "1:1[allow] 1:7[read] 1:12[/a]\n");
  EXPECT_EQ(scanned("\n  allow\tread   /a  \n\nb\n"), "2:3[allow] 2:9[read] 2:16[/a]\n4:1[b]\n");
}

TEST(ProfileScanner, SeesACommentAtTheBeginningOfAWordOnly) {
  EXPECT_EQ(scanned("a#b #c \"d"), "1:1[a#b]\n");
  EXPECT_EQ(scanned("a \"#b\""), "1:1[a] 1:3[#b]\n");
}

TEST(ProfileScanner, TakesQuotedWordsAsTheyAre) {
  EXPECT_EQ(scanned(R"("a b" "" "#")"), "1:1[a b] 1:7 1:10[#]\n");
  EXPECT_EQ(scanned(R"("\"\\\$\x41\x0a")"), "1:1[\"\\$A\n]\n");
  EXPECT_EQ(scanned(R"("\n\t")"), "1:1[\n\t]\n");
}

TEST(ProfileScanner, SeesParametersInAndOutsideQuotes) {
  EXPECT_EQ(scanned("${A}"), "1:1<A>\n");
  EXPECT_EQ(scanned("/a${A_1}b${B}${c}"), "1:1[/a]<A_1>[b]<B><c>\n");
  EXPECT_EQ(scanned(R"("x ${A} y" "\${A}")"), "1:1[x ]<A>[ y] 1:12[${A}]\n");
}

TEST(ProfileScanner, CountsCharactersNotBytes) {
  EXPECT_EQ(scanned("/äöü€𝄞 b"), "1:1[/äöü€𝄞] 1:8[b]\n");
  EXPECT_EQ(scanned("\"€\" b"), "1:1[€] 1:5[b]\n");
}

TEST(ProfileScanner, SaysWhereALineCannotBeCut) {
  const std::vector<std::pair<std::string, std::string>> table{
      {"a b\"c\"", "p:1:4: a quote inside a word; put the whole word in quotes, and write \\\" in it\n"},
      {"a b\\c", "p:1:4: a backslash outside quotes; put the word in quotes, and write \\\\ in it\n"},
      {"a \"b", "p:1:3: the quote is not closed; write \" at the end of the word, on the same line\n"},
      {"a \"b\\\"", "p:1:3: the quote is not closed; write \" at the end of the word, on the same line\n"},
      {"a \"b\"c", "p:1:6: a quoted word goes on behind its quote; write a blank between words\n"},
      {"a \"b\"#c", "p:1:6: a quoted word goes on behind its quote; write a blank between words\n"},
      {"\"a\\q\"", "p:1:3: unknown escape; write one of \\\" \\\\ \\$ \\n \\t and \\x with two digits\n"},
      {"\"a\\", "p:1:3: unknown escape; write one of \\\" \\\\ \\$ \\n \\t and \\x with two digits\n"},
      {"\"a\\x4\"", "p:1:3: \\x without two hexadecimal digits; write \\x0a and the like\n"},
      {"\"a\\xg0\"", "p:1:3: \\x without two hexadecimal digits; write \\x0a and the like\n"},
      {"\"a\\x", "p:1:3: \\x without two hexadecimal digits; write \\x0a and the like\n"},
      {"a $b", "p:1:3: $ without {; write ${NAME}, or \\$ in quotes for the character\n"},
      {"a b$", "p:1:4: $ without {; write ${NAME}, or \\$ in quotes for the character\n"},
      {"a ${b", "p:1:3: the parameter is not closed; write ${NAME} with letters, digits and _ in the name\n"},
      {"a ${b c}", "p:1:3: the parameter is not closed; write ${NAME} with letters, digits and _ in the name\n"},
      {"a ${${b}}", "p:1:3: the parameter is not closed; write ${NAME} with letters, digits and _ in the name\n"},
      {"\"${a\"", "p:1:2: the parameter is not closed; write ${NAME} with letters, digits and _ in the name\n"},
      {"a ${}", "p:1:3: the parameter has no name; write ${NAME}\n"},
      {"a b\r\n", "p:1:4: a carriage return; end lines with a line feed alone\n"},
      {std::string("a\0b", 3), "p:1:2: a control character; write it in quotes, as \\x and two digits\n"},
      {"ä \x7f", "p:1:3: a control character; write it in quotes, as \\x and two digits\n"},
      {"\xef\xbb\xbf"
       "a",
       "p:1:1: a byte-order mark; save the profile without one\n"},
      {"ä \xff", "p:1:3: this is no UTF-8; save the profile as UTF-8\n"},
      {"# \xc3", "p:1:3: this is no UTF-8; save the profile as UTF-8\n"},
      {"a \xed\xa0\x80", "p:1:3: this is no UTF-8; save the profile as UTF-8\n"},
      {"\n\na \xc0\xaf", "p:3:3: this is no UTF-8; save the profile as UTF-8\n"},
  };
  for (const auto& [text, expected] : table) EXPECT_EQ(scanned(text), expected) << text;
}

TEST(ProfileScanner, RefusesALastLineThatDoesNotEnd) {
  const auto refused = [](const char* place) {
    return std::string("p:") + place +
           ": the last line does not end, as if the profile were cut off; write the rest, and a line feed\n";
  };
  EXPECT_EQ(scannedAsItIs("a\nallow read /ä"), "1:1[a]\n" + refused("2:14"));
  EXPECT_EQ(scannedAsItIs("a\n# ä"), "1:1[a]\n" + refused("2:4"));
  EXPECT_EQ(scannedAsItIs("  "), refused("1:3"));
  EXPECT_EQ(scannedAsItIs("a \"b"),
            "p:1:3: the quote is not closed; write \" at the end of the word, on the same line\n");
}

TEST(ProfileScanner, GoesOnBehindABrokenLine) {
  EXPECT_EQ(scanned("a\n\"b\nc\n$\nd"),
            "1:1[a]\n3:1[c]\n5:1[d]\n"
            "p:2:1: the quote is not closed; write \" at the end of the word, on the same line\n"
            "p:4:1: $ without {; write ${NAME}, or \\$ in quotes for the character\n");
}

TEST(ProfileScanner, TakesALineUpToItsLimit) {
  const std::string longest(vanto::limits::profileLineBytes, 'a');
  EXPECT_EQ(scanned(longest), "1:1[" + longest + "]\n");
  EXPECT_EQ(scanned("b\n" + longest + "a\nc"),
            "1:1[b]\n3:1[c]\np:2:1: the line is longer than 65536 bytes; write several statements\n");
}

TEST(ProfileScanner, KnowsWhereAWordEnds) {
  ProfileErrors errors;
  const auto words = ProfileScanner("ä \"b\" ${c}\n", errors).nextStatement();
  ASSERT_TRUE(words.has_value());
  ASSERT_EQ(words->size(), 3U);
  EXPECT_EQ((*words)[0].end.column, 2U);
  EXPECT_EQ((*words)[1].end.column, 6U);
  EXPECT_EQ((*words)[2].end.column, 11U);
}

}  // namespace
