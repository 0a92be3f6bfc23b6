// SPDX-License-Identifier: Apache-2.0
#include "learning/TraceValue.h"

#include <cstdint>

#include "learning/limits.h"
#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::hexadecimal;
using testing::traced;

TEST(TraceValue, ReadsNumbersOfEachBaseAndJoinsFlags) {
  EXPECT_EQ(TraceValue("0").number(), 0);
  EXPECT_EQ(TraceValue("17").number(), 17);
  EXPECT_EQ(TraceValue("0644").number(), 0644);
  EXPECT_EQ(TraceValue("0x2|0x80000").number(), 0x80002);
  EXPECT_EQ(TraceValue("-100").number(), -100);
  EXPECT_EQ(TraceValue("3<TCP:[1]>").number(), 3);
  EXPECT_EQ(TraceValue("0x7ffe /* 37 vars */").number(), 0x7ffe);
  EXPECT_EQ(TraceValue("0xffffffffffffffff").number(), -1);
  EXPECT_EQ(TraceValue("-9223372036854775808").number(), INT64_MIN);
}

TEST(TraceValue, TakesNothingElseForANumber) {
  for (const char* text :
       {"", "-", "x", "0x", "1|", "|1", "1 2", "08", "1e3", "0x1 0x2", "99999999999999999999", "NULL"}) {
    EXPECT_EQ(TraceValue(text).number(), std::nullopt) << text;
  }
}

TEST(TraceValue, ReadsBytesThatAreWrittenInHexadecimal) {
  EXPECT_EQ(TraceValue("\"\"").bytes(), "");
  EXPECT_EQ(TraceValue("\"\\x2f\\x61\\xff\\x0a\\x22\"").bytes(), "/a\xff\n\"");
}

TEST(TraceValue, TakesNothingElseForBytes) {
  for (const char* text : {"", "\"", "/a", "\"/a\"", "\"\\x2\"", "\"\\x2g\"", "\"\\x2F\"", "\"\\x2f\"...", "@\"\\x2f\"",
                           "\"\\X2f\"", "NULL", "0x7ffe"}) {
    EXPECT_EQ(TraceValue(text).bytes(), std::nullopt) << text;
  }
}

TEST(TraceValue, TellsAbstractAddressesFromPaths) {
  EXPECT_EQ(TraceValue("@\"\\x61\"").abstractBytes(), "a");
  EXPECT_EQ(TraceValue("\"\\x61\"").abstractBytes(), std::nullopt);
}

TEST(TraceValue, ReadsWhereADescriptorLeadsTo) {
  const std::string file = traced("3</a b>");
  EXPECT_EQ(TraceValue(file).place()->path, "/a b");
  const std::string deleted = traced("3</a>(deleted)");
  EXPECT_TRUE(TraceValue(deleted).place()->isDeleted);
  const std::string device = traced("3</dev/null<char 1:3>>");
  EXPECT_EQ(TraceValue(device).place()->path, "/dev/null");
  EXPECT_EQ(TraceValue(device).place()->kind, "char 1:3");
  const std::string pipe = "3<" + hexadecimal("pipe:[12]") + ">";
  EXPECT_EQ(TraceValue(pipe).place()->path, "");
  EXPECT_EQ(TraceValue(pipe).place()->kind, "pipe:[12]");
  EXPECT_EQ(TraceValue("3<TCP:[127.0.0.1:1->127.0.0.1:2]>").place()->kind, "TCP:[127.0.0.1:1->127.0.0.1:2]");
}

TEST(TraceValue, TakesNothingElseForAPlace) {
  for (const char* text : {"", "3", "3<", "3<\\x2f", "3<\\x2>", "3<\\x2f>x", "3<\\x2f\\x61g>", "3<[>"}) {
    EXPECT_FALSE(TraceValue(text).place().has_value()) << text;
  }
}

TEST(TraceValue, FindsFieldsOfStructuresAndCalls) {
  const TraceValue address("{sa_family=0x2, sin_port=\"\\x00\\x50\", inner={sa_family=7}}");
  EXPECT_EQ(address.field("sa_family")->number(), 2);
  EXPECT_EQ(address.field("sin_port")->bytes(), std::string("\0P", 2));
  EXPECT_EQ(address.field("inner")->field("sa_family")->number(), 7);
  EXPECT_FALSE(address.field("family").has_value());
  EXPECT_EQ(TraceValue("flags=0x1|17").field("flags")->number(), 17);
  EXPECT_FALSE(TraceValue("{flags=").field("flags").has_value());
  EXPECT_EQ(TraceValue("{flags=0x3} => {parent_tid=[5]}").field("flags")->number(), 3);
}

TEST(TraceValue, HasTheElementsOfAnArray) {
  EXPECT_EQ(TraceValue("[{a=1}, {a=2}]").elements().size(), 2U);
  EXPECT_TRUE(TraceValue("[]").elements().empty());
  EXPECT_TRUE(TraceValue("[1, 2").elements().empty());
  EXPECT_TRUE(TraceValue("0x7ffe").elements().empty());
}

TEST(TraceValue, IsCutAtCommasOutsideOfBracketsOnly) {
  EXPECT_EQ(elementsOf("")->size(), 0U);
  EXPECT_EQ(elementsOf("1, {2, 3}, [4, 5], \"6, 7\", 8 /* 9, ) */")->size(), 5U);
  for (const char* text : {"{", "}", "(]", "\"", "/* ", "a\n", "\x01", "\xc3\xa4", "<1", "{]}"}) {
    EXPECT_FALSE(elementsOf(text).has_value()) << text;
  }
}

TEST(TraceValue, NestsNoDeeperThanItsLimit) {
  const std::string deep = std::string(limits::nesting, '[') + std::string(limits::nesting, ']');
  EXPECT_EQ(endOfGroup(deep, 0), deep.size());
  EXPECT_EQ(endOfGroup("[" + deep + "]", 0), std::string_view::npos);
}

}  // namespace
}  // namespace vanto::learning
