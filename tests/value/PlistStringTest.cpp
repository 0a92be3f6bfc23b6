// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistString.h>

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "support/Values.h"
#include "value/ValueStorage.h"

namespace {

using namespace std::string_view_literals;
using namespace vanto::testing;
using vanto::Ref;

TEST(PlistString, HoldsACopyOfItsText) {
  std::string text = "Grüße";
  const Ref<PlistString> string = PlistString::create(text);
  text = "other";
  EXPECT_EQ(string->text(), "Grüße");
  EXPECT_EQ(string->length(), 7u);
  EXPECT_STREQ(string->utf8(), "Grüße");
}

TEST(PlistString, MayBeEmpty) {
  const Ref<PlistString> string = PlistString::create("");
  EXPECT_EQ(string->text(), "");
  EXPECT_STREQ(string->utf8(), "");
}

TEST(PlistString, MayContainNUL) {
  const Ref<PlistString> string = PlistString::create("a\0b"sv);
  EXPECT_EQ(string->length(), 3u);
  EXPECT_EQ(string->text(), "a\0b"sv);
  EXPECT_STREQ(string->utf8(), "a");
}

TEST(PlistString, IsNotMadeFromInvalidUTF8) {
  EXPECT_EQ(PlistString::create("a\xFF").get(), nullptr);
  EXPECT_EQ(PlistString::create("\xED\xA0\x80").get(), nullptr);
}

TEST(PlistString, EqualsStringsWithTheSameBytes) {
  EXPECT_TRUE(string("abc")->isEqual(string("abc")));
  EXPECT_TRUE(string("abc")->isEqual(mutableString("abc")));
  EXPECT_TRUE(mutableString("abc")->isEqual(string("abc")));
  EXPECT_FALSE(string("abc")->isEqual(string("abC")));
  EXPECT_FALSE(string("abc")->isEqual(string("ab")));
  EXPECT_FALSE(string("a")->isEqual(string("a\0"sv)));
  // The same letter as one character and as two: exact equality tells them apart.
  EXPECT_FALSE(string("\u00E9")->isEqual(string("e\u0301")));
  EXPECT_FALSE(string("1")->isEqual(number(1)));
  EXPECT_TRUE(string("abc")->isEqualToText("abc"));
  EXPECT_FALSE(string("abc")->isEqualToText("ab"));
}

TEST(PlistString, OrdersByCodePointAndCase) {
  EXPECT_LT(string("B")->compare(*string("a")), 0);
  EXPECT_LT(string("a")->compare(*string("b")), 0);
  EXPECT_LT(string("a")->compare(*string("aa")), 0);
  EXPECT_LT(string("")->compare(*string("a")), 0);
  EXPECT_GT(string("b")->compare(*string("B")), 0);
  EXPECT_EQ(string("a")->compare(*mutableString("a")), 0);
  // U+FFFD comes before U+10000, though not in 16-bit units.
  EXPECT_LT(string("\uFFFD")->compare(*string("\U00010000")), 0);
}

TEST(PlistString, TestsSuffixes) {
  EXPECT_TRUE(string("a.vanto")->hasSuffix(".vanto"));
  EXPECT_TRUE(string("a")->hasSuffix(""));
  EXPECT_FALSE(string("vanto")->hasSuffix(".vanto"));
  EXPECT_FALSE(string("a.Vanto")->hasSuffix(".vanto"));
}

TEST(PlistString, Concatenates) {
  EXPECT_EQ(string("ab")->appending(*string("cd"))->text(), "abcd");
  EXPECT_EQ(string("")->appending(*string(""))->text(), "");
  EXPECT_EQ(string("a\0"sv)->appending(*mutableString("b"))->text(), "a\0b"sv);
}

TEST(PlistString, GivesItsPathExtension) {
  EXPECT_EQ(string("/a/Echo.vanto")->pathExtension()->text(), "vanto");
  EXPECT_EQ(string("/a.b/Echo")->pathExtension()->text(), "");
}

TEST(PlistString, AppendsPathComponents) {
  const auto append = [](std::string_view path, std::string_view component) {
    return std::string(string(path)->appendingPathComponent(*string(component))->text());
  };
  EXPECT_EQ(append("/a", "b"), "/a/b");
  EXPECT_EQ(append("/a/", "b"), "/a/b");
  EXPECT_EQ(append("/a//", "//b"), "/a/b");
  EXPECT_EQ(append("/", "b"), "/b");
  EXPECT_EQ(append("//", "/b"), "/b");
  EXPECT_EQ(append("a", "b/c"), "a/b/c");
  EXPECT_EQ(append("", "b"), "b");
  EXPECT_EQ(append("a", ""), "a");
  EXPECT_EQ(append("", ""), "");
}

TEST(PlistString, DropsTheLastPathComponent) {
  EXPECT_EQ(string("/a/b")->deletingLastPathComponent()->text(), "/a");
  EXPECT_EQ(string("/a")->deletingLastPathComponent()->text(), "/");
  EXPECT_EQ(string("a")->deletingLastPathComponent()->text(), "");
}

TEST(PlistString, DescribesItselfByItsText) {
  PlistString* text = string("some text");
  EXPECT_EQ(text->description(), text);
  PlistMutableString* changeable = mutableString("some");
  PlistString* described = changeable->description();
  changeable->append(" more");
  EXPECT_EQ(described->text(), "some");
}

constinit PlistString constant = vanto::ValueStorage::constantString("constant");

TEST(PlistString, CanBeAConstant) {
  EXPECT_EQ(constant.text(), "constant");
  EXPECT_EQ(constant.referenceCount(), UINT32_MAX);
  EXPECT_TRUE(constant.isEqual(string("constant")));
  constant.release();
  EXPECT_EQ(constant.description(), &constant);
}

}  // namespace
