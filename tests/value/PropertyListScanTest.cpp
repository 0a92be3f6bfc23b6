// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListScan.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace vanto {
namespace {

// Texts of all short lengths in memory of exactly their size, so that address checkers see a step too far.
std::vector<std::vector<char>> sampleTexts() {
  std::mt19937 random(2);
  const std::string usual = "abcXYZ 0";
  const std::string bytes = std::string("<>&]\t\n\r \x01\x1F\x7F\x80\xEF\xFF", 14) + usual;
  std::vector<std::vector<char>> texts;
  for (std::size_t length = 0; length <= 70; ++length) {
    for (int round = 0; round < 40; ++round) {
      std::vector<char> text(length);
      for (char& byte : text) byte = random() % 12 == 0 ? bytes[random() % bytes.size()] : usual[random() % 8];
      texts.push_back(std::move(text));
    }
  }
  return texts;
}

TEST(PropertyListScan, FindsWhatALookAtEachByteFinds) {
  for (const std::vector<char>& text : sampleTexts()) {
    const char* at = text.data();
    const char* end = at + text.size();
    EXPECT_EQ(scan::findTextStop(at, end), scan::findOneByOne<scan::stopsText>(at, end));
    EXPECT_EQ(scan::findWritingStop(at, end), scan::findOneByOne<scan::stopsWriting>(at, end));
    EXPECT_EQ(scan::skipBlanks(at, end), scan::findOneByOne<scan::isNoBlank>(at, end));
  }
}

TEST(PropertyListScan, EveryByteStopsOrDoesNotInEveryPlace) {
  for (int value = 0; value < 256; ++value) {
    for (std::size_t place = 0; place < 33; ++place) {
      std::vector<char> text(33, 'a');
      std::vector<char> blanks(33, '\t');
      text[place] = blanks[place] = static_cast<char>(value);
      EXPECT_EQ(scan::findTextStop(text.data(), text.data() + 33),
                scan::findOneByOne<scan::stopsText>(text.data(), text.data() + 33));
      EXPECT_EQ(scan::findWritingStop(text.data(), text.data() + 33),
                scan::findOneByOne<scan::stopsWriting>(text.data(), text.data() + 33));
      EXPECT_EQ(scan::skipBlanks(blanks.data(), blanks.data() + 33),
                scan::findOneByOne<scan::isNoBlank>(blanks.data(), blanks.data() + 33));
    }
  }
}

TEST(PropertyListScan, CopiesUpToWhatNeedsAnEscape) {
  for (const std::vector<char>& text : sampleTexts()) {
    std::vector<char> copy(text.size() + 16);
    const char* at = text.data();
    char* to = copy.data();
    scan::copyWritable(at, text.data() + text.size(), to);
    EXPECT_EQ(at, scan::findWritingStop(text.data(), text.data() + text.size()));
    EXPECT_EQ(std::string(copy.data(), to), std::string(text.data(), at));
  }
}

TEST(PropertyListScan, CopiesTextOfAnyLength) {
  for (const std::vector<char>& text : sampleTexts()) {
    for (const std::size_t length : {text.size(), text.size() / 2, text.size() / 4}) {
      std::vector<char> copy(length + 16);
      scan::copyText(copy.data(), text.data(), length, text.data() + text.size());
      EXPECT_EQ(std::string(copy.data(), length), std::string(text.data(), length));
    }
  }
}

TEST(PropertyListScan, ComparesOnlyWhatIsThere) {
  const std::vector<char> text = {'<', 'k', 'e', 'y'};
  const char* end = text.data() + text.size();
  EXPECT_TRUE(scan::startsWith(text.data(), end, "<key"));
  EXPECT_FALSE(scan::startsWith(text.data(), end, "<kez"));
  EXPECT_FALSE(scan::startsWith(text.data(), end, "<key>"));
  EXPECT_FALSE(scan::startsWith(end, end, "<"));
}

}  // namespace
}  // namespace vanto
