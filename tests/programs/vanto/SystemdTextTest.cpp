// SPDX-License-Identifier: Apache-2.0
#include "vanto/SystemdText.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(SystemdText, DoublesWhatBeginsSpecifiers) {
  EXPECT_EQ(SystemdText::value("a%41%%"), "a%%41%%%%");
  EXPECT_EQ(SystemdText::value(""), "");
}

TEST(SystemdText, QuotesArguments) {
  EXPECT_EQ(SystemdText::argument("/opt/a"), "\"/opt/a\"");
  EXPECT_EQ(SystemdText::argument("/a b\"c\\d'e;f"), "\"/a b\\\"c\\\\d'e;f\"");
  EXPECT_EQ(SystemdText::argument("%h$HOME${X}"), "\"%%h$$HOME$${X}\"");
  EXPECT_EQ(SystemdText::argument("a\nb\tc\x7f\x1b"), "\"a\\x0ab\\x09c\\x7f\\x1b\"");
}

TEST(SystemdText, LeavesVariablesInWhatIsExecutedSinceSystemdExpandsNoneThere) {
  EXPECT_EQ(SystemdText::program("/a b%h$HOME\""), "\"/a b%%h$HOME\\\"\"");
}

TEST(SystemdText, KeepsLettersAndNotWhatCommandsTerminals) {
  EXPECT_EQ(SystemdText::argument("/ä"), "\"/ä\"");
  EXPECT_EQ(SystemdText::argument("/ä\u202e"), "\"/\\xc3\\xa4\\xe2\\x80\\xae\"");
  EXPECT_EQ(SystemdText::argument("\u009b"), "\"\\xc2\\x9b\"");
}

TEST(SystemdText, NamesUnitsByWhatTheirNamesMayHave) {
  EXPECT_EQ(SystemdText::unitName("org.example_a-B:9"), "org.example_a-B:9");
  EXPECT_EQ(SystemdText::unitName("a%40b@/"), "a\\x2540b\\x40\\x2f");
}

}  // namespace
}  // namespace vanto::tool
