// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListCharacters.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vanto {
namespace {

std::size_t allowedLength(std::string_view text) {
  return characters::allowedLength(text.data(), text.data() + text.size());
}

std::size_t nameLength(std::string_view text) {
  const char* end = characters::skipName(text.data(), text.data() + text.size());
  return static_cast<std::size_t>(end - text.data());
}

TEST(PropertyListCharacters, EveryCodePointIsTakenOrRefusedAsXMLSays) {
  for (std::uint32_t character = 0; character <= 0x10FFFF; ++character) {
    char bytes[4];
    const std::size_t length = characters::encode(character, bytes);
    const bool control = character < 0x20 && character != '\t' && character != '\n' && character != '\r';
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    const bool allowed = !control && !surrogate && character != 0xFFFE && character != 0xFFFF;
    ASSERT_EQ(characters::allowedLength(bytes, bytes + length), allowed ? length : 0) << character;
    ASSERT_EQ(characters::decode(bytes, length), character);
  }
}

TEST(PropertyListCharacters, RefusesWhatIsNotWellFormed) {
  for (const std::string_view text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",
                                      "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80",
                                      "\xFF", "\xFE", "\xED\xA0\x80", "\xC3(", "\xE2\x82(", "\xF0\x9F\x98("}) {
    EXPECT_EQ(allowedLength(text), 0U);
  }
}

TEST(PropertyListCharacters, RefusesWhatIsCutShort) {
  EXPECT_EQ(allowedLength(""), 0U);
  EXPECT_EQ(allowedLength("\xC3"), 0U);
  EXPECT_EQ(allowedLength("\xE2\x82"), 0U);
  EXPECT_EQ(allowedLength("\xF0\x9F\x98"), 0U);
}

TEST(PropertyListCharacters, FindsTheEndOfAName) {
  EXPECT_EQ(nameLength("plist version"), 5U);
  EXPECT_EQ(nameLength("a-b.c_d:9>"), 9U);
  EXPECT_EQ(nameLength("Ünï>"), 5U);
  EXPECT_EQ(nameLength("a\xC3\x97"), 1U);
  EXPECT_EQ(nameLength(""), 0U);
  EXPECT_EQ(nameLength("9a"), 0U);
  EXPECT_EQ(nameLength("-a"), 0U);
  EXPECT_EQ(nameLength(" a"), 0U);
}

}  // namespace
}  // namespace vanto
