// SPDX-License-Identifier: Apache-2.0
#include "ipc/TextWords.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using vanto::isPlainText;
using vanto::shortTextWord;
using vanto::textWord;

TEST(TextWords, AreTheBytesFromTheMostSignificantOn) {
  EXPECT_EQ(textWord("abcdefgh"), 0x6162'6364'6566'6768U);
  EXPECT_EQ(textWord("\xff\x01\0\0\0\0\0\x80"), 0xff01'0000'0000'0080U);
}

TEST(TextWords, OfShortTextHaveZerosBehindIt) {
  const std::string text = "abcdefg\xff";
  for (std::size_t length = 0; length < 8; ++length) {
    // In memory of exactly this size, so that a sanitizer sees each byte read beyond it.
    const std::vector<char> exact(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    std::string padded(exact.begin(), exact.end());
    padded.resize(8, '\0');
    EXPECT_EQ(shortTextWord(exact.data(), length), textWord(padded.data())) << length;
  }
}

TEST(TextWords, PlainTextHasNeitherNulNorBytesOutsideASCIIAnywhere) {
  for (std::size_t length = 0; length < 40; ++length) {
    std::string text(length, '\x7f');
    EXPECT_TRUE(isPlainText(text.data(), length)) << length;
    for (std::size_t place = 0; place < length; ++place) {
      for (const char odd : {'\0', '\x80', '\xff'}) {
        std::string changed = text;
        changed[place] = odd;
        EXPECT_FALSE(isPlainText(changed.data(), length)) << length << " with an odd byte at " << place;
      }
      for (const char plain : {'\x01', '\x7f', ' '}) {
        std::string changed = text;
        changed[place] = plain;
        EXPECT_TRUE(isPlainText(changed.data(), length)) << length;
      }
    }
  }
}
