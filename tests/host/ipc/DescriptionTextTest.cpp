// SPDX-License-Identifier: Apache-2.0
#include "ipc/DescriptionText.h"

#include <gtest/gtest.h>

#include <vector>

using vanto::DescriptionText;

namespace {

std::string quoted(std::string_view text, std::size_t limit = 100) {
  DescriptionText description(limit);
  description.addQuoted(text);
  return description.take();
}

std::string bytes(const std::vector<std::uint8_t>& contents) {
  DescriptionText description(100);
  description.addBytes(contents.data(), contents.size());
  return description.take();
}

}  // namespace

TEST(DescriptionText, PutsPiecesTogether) {
  DescriptionText text(100);
  text.add("a ");
  text.addNumber(-5);
  text.add(" ");
  text.addNumber(0.1);
  EXPECT_FALSE(text.isFull());
  EXPECT_EQ(text.take(), "a -5 0.1");
}

TEST(DescriptionText, EscapesWhatEndsTheQuotesOrTheLine) {
  EXPECT_EQ(quoted("\"\\\n\r\t"), "\"\\\"\\\\\\n\\r\\t\"");
  EXPECT_EQ(quoted("\x1b[2J\x7f\u0085\u2028\u2029"), "\"\\x1b[2J\\x7f\\x85\\u2028\\u2029\"");
  EXPECT_EQ(quoted("h\u00e9 \U0001f600"), "\"h\u00e9 \U0001f600\"");
}

TEST(DescriptionText, ShowsTheFirstOfTheBytes) {
  EXPECT_EQ(bytes({}), "0 bytes");
  EXPECT_EQ(bytes({1}), "1 byte 01");
  EXPECT_EQ(bytes(std::vector<std::uint8_t>(16, 0xab)), "16 bytes abababababababababababababababab");
  EXPECT_EQ(bytes(std::vector<std::uint8_t>(17, 0xab)), "17 bytes abababababababababababababababab...");
  DescriptionText text(100);
  text.addBytes(nullptr, 5);
  EXPECT_EQ(text.take(), "5 bytes");
}

TEST(DescriptionText, TakesNothingMoreOnceItIsFull) {
  DescriptionText text(3);
  text.add("abc");
  EXPECT_FALSE(text.isFull());
  text.add("d");
  EXPECT_TRUE(text.isFull());
  text.add("");
  text.addNumber(1);
  EXPECT_EQ(text.take(), "abc...");
  // Between characters, never inside one.
  EXPECT_EQ(quoted("a\u20ac\u20ac", 7), "\"a\u20ac...");
}
