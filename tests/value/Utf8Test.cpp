// SPDX-License-Identifier: Apache-2.0
#include "value/Utf8.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using vanto::characterIn;
using vanto::isValidUtf8;
using vanto::lengthOfFirstCharacter;

/// The bytes that the bit pattern of UTF-8 gives for `code` in `length` bytes, valid or not.
std::string encoded(std::uint32_t code, int length) {
  if (length == 1) return {static_cast<char>(code)};
  std::string text;
  const std::uint32_t mark = 0xFFu << (8 - length) & 0xFFu;
  text += static_cast<char>(mark | code >> 6 * (length - 1));
  for (int rest = length - 2; rest >= 0; --rest) text += static_cast<char>(0x80u | (code >> 6 * rest & 0x3Fu));
  return text;
}

int shortestLength(std::uint32_t code) {
  return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

TEST(Utf8, AcceptsEveryCharacter) {
  for (std::uint32_t code = 0; code < 0x110000; ++code) {
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    if (isValidUtf8(encoded(code, shortestLength(code))) == isSurrogate) FAIL() << code;
  }
}

TEST(Utf8, RefusesEveryOverlongForm) {
  for (std::uint32_t code = 0; code < 0x10000; ++code) {
    for (int length = shortestLength(code) + 1; length <= 4; ++length) {
      if (isValidUtf8(encoded(code, length))) FAIL() << code << " in " << length;
    }
  }
}

TEST(Utf8, RefusesWhatLiesBeyondTheLastCharacter) {
  for (std::uint32_t code = 0x110000; code < 0x200000; code += 0x40) ASSERT_FALSE(isValidUtf8(encoded(code, 4)));
  for (const std::string_view text : {"\xF5\x80\x80\x80"sv, "\xF8\x88\x80\x80\x80"sv, "\xFE"sv, "\xFF"sv}) {
    EXPECT_FALSE(isValidUtf8(text));
  }
}

TEST(Utf8, RefusesCharactersCutShortOrWithoutAStart) {
  const std::string characters[] = {"é", "€", "😀"};
  for (const std::string& character : characters) {
    for (std::size_t length = 1; length < character.size(); ++length) {
      const std::string part = character.substr(0, length);
      EXPECT_FALSE(isValidUtf8(part));
      EXPECT_FALSE(isValidUtf8(part + "a"));
      EXPECT_FALSE(isValidUtf8(part + character));
      EXPECT_FALSE(isValidUtf8(character.substr(length)));
    }
  }
}

TEST(Utf8, AcceptsTextOfAnyLengthAroundTheWordsItIsReadIn) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8(std::string_view()));
  EXPECT_TRUE(isValidUtf8("a\0b"sv));
  for (std::size_t length = 0; length < 40; ++length) {
    std::string text(length, 'a');
    EXPECT_TRUE(isValidUtf8(text));
    EXPECT_TRUE(isValidUtf8(text + "é" + text));
    for (std::size_t place = 0; place < length; ++place) {
      text[place] = '\x80';
      EXPECT_FALSE(isValidUtf8(text)) << length << " " << place;
      text[place] = 'a';
    }
  }
}

TEST(Utf8, IsTakenApartIntoCharacters) {
  EXPECT_EQ(lengthOfFirstCharacter("ab"), 1U);
  EXPECT_EQ(lengthOfFirstCharacter("éa"), 2U);
  EXPECT_EQ(lengthOfFirstCharacter("€€"), 3U);
  EXPECT_EQ(lengthOfFirstCharacter("\U0001f600"), 4U);
  EXPECT_EQ(characterIn("a"), U'a');
  EXPECT_EQ(characterIn("é"), U'é');
  EXPECT_EQ(characterIn("€"), U'€');
  EXPECT_EQ(characterIn("\U0010ffff"), U'\U0010ffff');
}

}  // namespace
