// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBase64.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

namespace vanto {
namespace {

std::string encoded(std::string_view bytes) {
  std::string text(base64::encodedLength(bytes.size()), '?');
  const char* end = base64::encode(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), text.data());
  EXPECT_EQ(end, text.data() + text.size());
  return text;
}

std::optional<std::string> decoded(std::string_view text) {
  std::string bytes(base64::decodedLength(text), '?');
  if (base64::decode(text, reinterpret_cast<std::uint8_t*>(bytes.data())) != nullptr) return std::nullopt;
  return bytes;
}

// Offset of the mistake in a text that has one.
std::ptrdiff_t mistakeIn(std::string_view text) {
  std::vector<std::uint8_t> bytes(base64::decodedLength(text) + 1);
  const char* mistake = base64::decode(text, bytes.data());
  return mistake == nullptr ? -1 : mistake - text.data();
}

TEST(PropertyListBase64, EncodesAllLengthsOfTheLastGroup) {
  EXPECT_EQ(encoded(""), "");
  EXPECT_EQ(encoded("f"), "Zg==");
  EXPECT_EQ(encoded("fo"), "Zm8=");
  EXPECT_EQ(encoded("foo"), "Zm9v");
  EXPECT_EQ(encoded("foob"), "Zm9vYg==");
  EXPECT_EQ(encoded("\xFB\xFF\xFE"), "+//+");
}

TEST(PropertyListBase64, DecodesWhatItEncoded) {
  std::mt19937 random(1);
  for (std::size_t length = 0; length < 300; ++length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    EXPECT_EQ(decoded(encoded(bytes)), bytes);
  }
}

TEST(PropertyListBase64, IgnoresBlanksAnywhere) {
  EXPECT_EQ(decoded(" \n\tZ m\r\n9\tv\n\tY g = = \n"), "foob");
  EXPECT_EQ(decoded(" \n"), "");
}

TEST(PropertyListBase64, RefusesCutGroups) {
  EXPECT_EQ(mistakeIn("Z"), 1);
  EXPECT_EQ(mistakeIn("Zg"), 2);
  EXPECT_EQ(mistakeIn("Zg="), 3);
  EXPECT_EQ(mistakeIn("Zm8"), 3);
  EXPECT_EQ(mistakeIn("Zm9vZ"), 5);
}

TEST(PropertyListBase64, RefusesPaddingWhereItDoesNotBelong) {
  EXPECT_EQ(mistakeIn("="), 0);
  EXPECT_EQ(mistakeIn("Z==="), 1);
  EXPECT_EQ(mistakeIn("Zm9v="), 4);
  EXPECT_EQ(mistakeIn("Zg==="), 4);
  EXPECT_EQ(mistakeIn("Zg=v"), 3);
  EXPECT_EQ(mistakeIn("Zg==Zg=="), 4);
  EXPECT_EQ(mistakeIn("Zm8=Zm9v"), 4);
}

TEST(PropertyListBase64, RefusesStrayBitsUnderThePadding) {
  EXPECT_EQ(mistakeIn("Zh=="), 2);
  EXPECT_EQ(mistakeIn("Zm9="), 3);
}

TEST(PropertyListBase64, RefusesOtherCharacters) {
  EXPECT_EQ(mistakeIn("Zm9v-m9v"), 4);
  EXPECT_EQ(mistakeIn("Zm_v"), 2);
  EXPECT_EQ(mistakeIn("Zm9\xC3"), 3);
}

}  // namespace
}  // namespace vanto
