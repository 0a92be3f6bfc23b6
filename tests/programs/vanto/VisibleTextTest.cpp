// SPDX-License-Identifier: Apache-2.0
#include "vanto/VisibleText.h"

#include <string>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(VisibleText, LeavesTextOfAllLanguagesAsItIs) {
  EXPECT_EQ(visible("org.example.echo"), "org.example.echo");
  EXPECT_EQ(visible(""), "");
  EXPECT_EQ(visible("Grüße, 世界, 😀"), "Grüße, 世界, 😀");
}

TEST(VisibleText, EscapesControlCharacters) {
  EXPECT_EQ(visible("a\x1b[31mb"), "a\\x1b[31mb");
  EXPECT_EQ(visible(std::string_view("\0\x07\b\x7f", 4)), "\\x00\\x07\\x08\\x7f");
  EXPECT_EQ(visible("a\nb\tc\rd"), "a\\nb\\tc\\rd");
  EXPECT_EQ(visible("\xc2\x9b"
                    "31m"),
            "\\u{009b}31m");
}

TEST(VisibleText, EscapesEveryByteBelowBlank) {
  for (int byte = 0; byte < ' '; ++byte) {
    const std::string text = visible(std::string(1, static_cast<char>(byte)));
    EXPECT_EQ(text[0], '\\') << byte;
    for (const char c : text) EXPECT_GE(c, ' ') << byte;
  }
}

TEST(VisibleText, EscapesWhatChangesTheDirectionOfTextOrShowsNothing) {
  EXPECT_EQ(visible("a\u202eb"), "a\\u{202e}b");
  EXPECT_EQ(visible("\u2066\u2069\u200b\ufeff\u2028\u061c"), "\\u{2066}\\u{2069}\\u{200b}\\u{feff}\\u{2028}\\u{061c}");
  EXPECT_EQ(visible("\U000e0041"), "\\u{e0041}");
}

TEST(VisibleText, EscapesBytesThatAreNoUtf8) {
  EXPECT_EQ(visible("a\xff"
                    "b"),
            "a\\xffb");
  EXPECT_EQ(visible("\xc3"), "\\xc3");
  EXPECT_EQ(visible("\xc0\xaf"), "\\xc0\\xaf");
  EXPECT_EQ(visible("\xed\xa0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(visible("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(VisibleText, DoublesBackslashesSoThatEachTextHasAFormOfItsOwn) {
  EXPECT_EQ(visible("\\x1b"), "\\\\x1b");
  EXPECT_NE(visible("\\n"), visible("\n"));
}

TEST(VisibleText, EscapesInJsonWithJsonsOwnForms) {
  EXPECT_EQ(visibleJson("{\n  \"a\": \"\u202e\x7f\u0085é\"\n}"), "{\n  \"a\": \"\\u202e\\u007f\\u0085é\"\n}");
  EXPECT_EQ(visibleJson("\"\U000e0041\""), "\"\\udb40\\udc41\"");
}

TEST(VisibleText, EscapesInXmlWithReferences) {
  EXPECT_EQ(visibleXml("<a>\n\t\u009b\x7f\u202e\U000e0041é</a>"), "<a>\n\t&#x9b;&#x7f;&#x202e;&#xe0041;é</a>");
}

TEST(VisibleText, KeepsTheLineEndsOfSeveralLines) {
  EXPECT_EQ(visibleLines("a\n\x1b\nb\n"), "a\n\\x1b\nb\n");
  EXPECT_EQ(visibleLines("a"), "a");
}

TEST(VisibleText, CountsColumns) {
  EXPECT_EQ(columnsOf("abc"), 3U);
  EXPECT_EQ(columnsOf("é"), 1U);
  EXPECT_EQ(columnsOf("世界"), 4U);
  EXPECT_EQ(columnsOf("e\u0301"), 1U);
}

TEST(VisibleText, CutsTheMiddle) {
  EXPECT_EQ(cutToColumns("abcdef", 6), "abcdef");
  EXPECT_EQ(cutToColumns("abcdefghij", 7), "ab…ghij");
  EXPECT_EQ(cutToColumns("abcdef", 1), "…");
  EXPECT_EQ(cutToColumns("abcdef", 0), "");
}

TEST(VisibleText, CutsBetweenCharactersAndNeverToMoreThanItMay) {
  const std::string text = "世界a世界é世界b世界世界";
  for (std::size_t columns = 0; columns < 24; ++columns) {
    const std::string cut = cutToColumns(text, columns);
    EXPECT_LE(columnsOf(cut), columns);
    EXPECT_EQ(visible(cut), cut);
  }
}

}  // namespace
}  // namespace vanto::tool
