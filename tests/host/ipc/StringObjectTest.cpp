// SPDX-License-Identifier: Apache-2.0
#include "ipc/StringObject.h"

#include <gtest/gtest.h>

#include "host/ipc/BalancedTest.h"

using namespace std::string_view_literals;
using vanto::Ref;
using vanto::StringObject;

using StringObjectTest = vanto::test::BalancedTest;

TEST_F(StringObjectTest, HoldsItsTextWithANulBehindIt) {
  const Ref<StringObject> string = StringObject::create("h\u00e9llo \U0001f600");
  ASSERT_TRUE(string);
  EXPECT_EQ(string->kind(), VANTO_KIND_STRING);
  EXPECT_EQ(string->text(), "h\u00e9llo \U0001f600");
  EXPECT_STREQ(string->terminatedText(), "h\u00e9llo \U0001f600");
}

TEST_F(StringObjectTest, MayBeEmpty) {
  const Ref<StringObject> string = StringObject::create("");
  ASSERT_TRUE(string);
  EXPECT_EQ(string->text(), "");
  EXPECT_STREQ(string->terminatedText(), "");
}

TEST_F(StringObjectTest, RefusesNulInside) {
  EXPECT_FALSE(StringObject::create("a\0b"sv));
  EXPECT_FALSE(StringObject::create("\0"sv));
}

TEST_F(StringObjectTest, RefusesWhatIsNoUtf8) {
  for (const std::string_view text : {"\xff"sv, "\xc0\xaf"sv, "\xed\xa0\x80"sv, "\xf4\x90\x80\x80"sv, "a\xe2\x82"sv}) {
    EXPECT_FALSE(StringObject::accepts(text));
    EXPECT_FALSE(StringObject::create(text));
  }
}
