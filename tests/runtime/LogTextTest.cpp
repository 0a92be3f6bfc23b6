// SPDX-License-Identifier: Apache-2.0
#include "runtime/LogText.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::testing {
namespace {

std::string shown(std::string_view text) {
  return LogText(text).utf8();
}

TEST(LogText, KeepsPlainTextAsItIs) {
  for (const std::string_view text :
       {"", "a", "identifier \"com.example\" and signer \"x\"", "C:\\path\\n", "100 % %s %n"}) {
    EXPECT_EQ(shown(text), text);
  }
}

TEST(LogText, KeepsUtf8OfEveryLength) {
  for (const std::string_view text :
       {"ä", "\u00a0", "\u07ff", "\u0800", "€", "\u2027", "\u202a", "\uffff", "😀", "\U0010ffff"}) {
    EXPECT_EQ(shown(text), text);
  }
}

TEST(LogText, EscapesEveryControlCharacterSoThatTheLineStaysOne) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, std::string_view> samples[] = {
      {"a\nb"sv, "a\\nb"},
      {"a\rb"sv, "a\\rb"},
      {"a\tb"sv, "a\\tb"},
      {"a\0b"sv, "a\\x00b"},
      {"\x01\x1f"sv, "\\x01\\x1f"},
      {"\x1b[31mred"sv, "\\x1b[31mred"},
      {"\x7f"sv, "\\x7f"},
      {"\u0080"sv, "\\xc2\\x80"},
      {"\u0085"sv, "\\xc2\\x85"},
      {"\u009f"sv, "\\xc2\\x9f"},
      {"\u2028"sv, "\\xe2\\x80\\xa8"},
      {"\u2029"sv, "\\xe2\\x80\\xa9"},
  };
  for (const auto& [text, expected] : samples) EXPECT_EQ(shown(text), expected);
}

TEST(LogText, EscapesBytesThatAreNotUtf8AndGoesOnBehindThem) {
  const std::pair<std::string_view, std::string_view> samples[] = {
      {"\x80", "\\x80"},
      {"\xff", "\\xff"},
      {"a\xc3", "a\\xc3"},
      {"\xc3 b", "\\xc3 b"},
      {"\xe2\x82", "\\xe2\\x82"},
      {"\xf0\x9f\x98", "\\xf0\\x9f\\x98"},
      {"\xc0\xaf", "\\xc0\\xaf"},
      {"\xed\xa0\x80ä", "\\xed\\xa0\\x80ä"},
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
  };
  for (const auto& [text, expected] : samples) EXPECT_EQ(shown(text), expected);
}

TEST(LogText, CutsOnlyWhatIsLongerThanTheLimit) {
  const std::string atLimit(limits::logTextBytes, 'a');
  EXPECT_EQ(shown(atLimit), atLimit);
  EXPECT_EQ(shown(atLimit + "b"), atLimit + "...");
  EXPECT_GE(limits::logTextBytes, 8192U);
}

TEST(LogText, CutsBetweenCharacters) {
  const std::string almost(limits::logTextBytes - 1, 'a');
  EXPECT_EQ(shown(almost + "ä"), almost + "...");
}

TEST(LogText, DoesNotCutForTheSakeOfItsEscapes) {
  const std::string text(limits::logTextBytes, '\x01');
  EXPECT_EQ(shown(text).size(), 4 * limits::logTextBytes);
}

TEST(LogText, ShowsStringsAndTheirAbsence) {
  EXPECT_STREQ(LogText(PlistString::create("a\nb").get()).utf8(), "a\\nb");
  EXPECT_STREQ(LogText(static_cast<const PlistString*>(nullptr)).utf8(), "(null)");
}

}  // namespace
}  // namespace vanto::testing
