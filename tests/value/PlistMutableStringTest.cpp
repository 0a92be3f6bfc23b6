// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <VantoService/PlistString.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Ref;

std::string formatted(std::string_view format, std::initializer_list<vanto::FormatArgument> arguments) {
  const Ref<PlistMutableString> text = PlistMutableString::create();
  text->appendFormat(format, arguments);
  return std::string(text->text());
}

std::string addressText(const void* address) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "0x%llx",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(address)));
  return buffer;
}

TEST(PlistMutableString, StartsEmptyOrWithText) {
  EXPECT_EQ(PlistMutableString::create()->text(), "");
  EXPECT_STREQ(PlistMutableString::create()->utf8(), "");
  EXPECT_EQ(PlistMutableString::create("start")->text(), "start");
  EXPECT_EQ(PlistMutableString::create("\xC0\x80").get(), nullptr);
}

TEST(PlistMutableString, Grows) {
  const Ref<PlistMutableString> text = PlistMutableString::create("0");
  std::string expected = "0";
  for (int round = 0; round < 1000; ++round) {
    text->append(*string("é1"));
    text->append("2");
    expected += "é12";
  }
  EXPECT_EQ(text->text(), expected);
  EXPECT_STREQ(text->utf8(), expected.c_str());
}

TEST(PlistMutableString, CanBeAppendedToItself) {
  const Ref<PlistMutableString> text = PlistMutableString::create("abc");
  for (int round = 0; round < 5; ++round) text->append(*text);
  text->append(text->text().substr(0, 2));
  std::string expected;
  for (int round = 0; round < 32; ++round) expected += "abc";
  EXPECT_EQ(text->text(), expected + "ab");
  text->appendFormat("%@", {text.get()});
  EXPECT_EQ(text->length(), 2 * expected.size() + 4);
}

TEST(PlistMutableString, FormatsObjectsByTheirDescription) {
  EXPECT_EQ(formatted("<%@ = %@>", {string("key"), number(5)}), "<key = 5>");
  EXPECT_EQ(formatted("%@", {PlistBoolean::of(true)}), "1");
  EXPECT_EQ(formatted("%@", {array({string("a"), number(2)})}), "[a, 2]");
  EXPECT_EQ(formatted("a%@b", {static_cast<PlistString*>(nullptr)}), "a(null)b");
}

TEST(PlistMutableString, FormatsAddresses) {
  int variable = 0;
  const void* address = &variable;
  EXPECT_EQ(formatted("%p", {address}), addressText(address));
  PlistString* text = string("a");
  EXPECT_EQ(formatted("[%@ %p]", {text, text}), "[a " + addressText(text) + "]");
  EXPECT_EQ(formatted("%p", {static_cast<const void*>(nullptr)}), "0x0");
}

TEST(PlistMutableString, FormatsIntegers) {
  EXPECT_EQ(formatted("%d", {0}), "0");
  EXPECT_EQ(formatted("%d %d", {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}),
            "-2147483648 2147483647");
}

TEST(PlistMutableString, FormatsTextAndPercentSigns) {
  EXPECT_EQ(formatted("", {}), "");
  EXPECT_EQ(formatted("plain – text", {}), "plain – text");
  EXPECT_EQ(formatted("100%%", {}), "100%");
  EXPECT_EQ(formatted("%%%d%%", {7}), "%7%");
}

TEST(PlistMutableStringDeathTest, RefusesFormatsThatDoNotFitTheirArguments) {
  const char* const report = "function PlistMutableString appendFormat, file";
  EXPECT_DEATH(formatted("%d", {}), report);
  EXPECT_DEATH(formatted("", {1}), report);
  EXPECT_DEATH(formatted("%d", {string("a")}), report);
  EXPECT_DEATH(formatted("%@", {1}), report);
  EXPECT_DEATH(formatted("%@", {static_cast<const void*>("a")}), report);
  EXPECT_DEATH(formatted("%p", {1}), report);
  EXPECT_DEATH(formatted("%s", {1}), report);
  EXPECT_DEATH(formatted("50%", {}), report);
}

TEST(PlistMutableStringDeathTest, RefusesInvalidUTF8) {
  EXPECT_DEATH(PlistMutableString::create()->append("\x80"), "function PlistMutableString append, file");
  EXPECT_DEATH(formatted("\x80", {}), "function PlistMutableString append");
}

}  // namespace
