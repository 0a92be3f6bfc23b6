// SPDX-License-Identifier: Apache-2.0
#include "ipc/ObjectDescription.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"
#include "value/Utf8.h"
#include "value/limits.h"

using vanto::describe;
using vanto::Ref;
using vanto::test::own;

namespace {

std::string describeString(const char* text) {
  return describe(own(vanto_string_create(text)).get());
}

}  // namespace

using ObjectDescriptionTest = vanto::test::BalancedTest;

TEST_F(ObjectDescriptionTest, ShowsLeaves) {
  EXPECT_EQ(describe(nullptr), "(null)");
  EXPECT_EQ(describeString("text"), "\"text\"");
  EXPECT_EQ(describe(own(vanto_bool_create(true)).get()), "true");
  EXPECT_EQ(describe(own(vanto_bool_create(false)).get()), "false");
  EXPECT_EQ(describe(own(vanto_int64_create(INT64_MIN)).get()), "-9223372036854775808");
  EXPECT_EQ(describe(own(vanto_double_create(0.1)).get()), "0.1");
  EXPECT_EQ(describe(own(vanto_double_create(-1.7976931348623157e308)).get()), "-1.7976931348623157e+308");
  EXPECT_EQ(describe(own(vanto_error_create(VANTO_ERROR_CLOSED, "gone \"away\"")).get()),
            "error 4 \"gone \\\"away\\\"\"");
  const Ref<vanto_object> carrier = own(vanto_fd_create(0));
  EXPECT_EQ(describe(carrier.get()).substr(0, 3), "fd ");
}

TEST_F(ObjectDescriptionTest, ShowsTheStartOfData) {
  EXPECT_EQ(describe(own(vanto_data_create("", 0)).get()), "0 bytes");
  EXPECT_EQ(describe(own(vanto_data_create("\x01", 1)).get()), "1 byte 01");
  EXPECT_EQ(describe(own(vanto_data_create("0123456789abcdef", 16)).get()),
            "16 bytes 30313233343536373839616263646566");
  EXPECT_EQ(describe(own(vanto_data_create("0123456789abcdefg", 17)).get()),
            "17 bytes 30313233343536373839616263646566...");
}

TEST_F(ObjectDescriptionTest, ShowsContainersOnOneLine) {
  const Ref<vanto_object> array = own(vanto_array_create(nullptr, 0));
  EXPECT_EQ(describe(array.get()), "[]");
  vanto_array_append_value(array.get(), own(vanto_int64_create(1)).get());
  vanto_array_append_value(array.get(), own(vanto_string_create("a\nb")).get());
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  EXPECT_EQ(describe(dictionary.get()), "{}");
  vanto_dictionary_set_value(dictionary.get(), "list", array.get());
  vanto_dictionary_set_value(dictionary.get(), "b\x01", own(vanto_bool_create(true)).get());
  EXPECT_EQ(describe(dictionary.get()), "{\"b\\x01\": true, \"list\": [1, \"a\\nb\"]}");
}

TEST_F(ObjectDescriptionTest, EscapesWhatWouldLeaveTheLine) {
  EXPECT_EQ(describeString("\n\r\t\v\x1b[31m\x7f\\\""), "\"\\n\\r\\t\\x0b\\x1b[31m\\x7f\\\\\\\"\"");
  EXPECT_EQ(describeString("\u0085\u009f\u00a0"), "\"\\x85\\x9f\u00a0\"");
  EXPECT_EQ(describeString("\u2028\u2029\u202a"), "\"\\u2028\\u2029\u202a\"");
  EXPECT_EQ(describeString("h\u00e9llo \U0001f600"), "\"h\u00e9llo \U0001f600\"");
}

TEST_F(ObjectDescriptionTest, IsCutAtTheLimitBetweenCharacters) {
  constexpr std::size_t limit = vanto::limits::ipcDescriptionBytes;
  const std::string fitting(limit - 2, 'x');
  EXPECT_EQ(describeString(fitting.c_str()), "\"" + fitting + "\"");
  const std::string longer(limit - 1, 'x');
  EXPECT_EQ(describeString(longer.c_str()), "\"" + longer + "...");
  std::string wide = "x";
  while (wide.size() < limit) wide += "\u20ac";
  const std::string text = describeString(wide.c_str());
  EXPECT_TRUE(vanto::isValidUtf8(text));
  EXPECT_LE(text.size(), limit + 3);
  EXPECT_TRUE(text.ends_with("\u20ac..."));
}

TEST_F(ObjectDescriptionTest, OfAVeryLargeArrayEndsAtTheLimitToo) {
  const Ref<vanto_object> array = own(vanto_array_create(nullptr, 0));
  for (int index = 0; index < 100'000; ++index)
    vanto_array_append_value(array.get(), own(vanto_bool_create(true)).get());
  const std::string text = describe(array.get());
  EXPECT_LE(text.size(), vanto::limits::ipcDescriptionBytes + 3);
  EXPECT_TRUE(text.ends_with("..."));
}

TEST_F(ObjectDescriptionTest, ShowsNoMoreThanSomeLevels) {
  constexpr std::size_t limit = vanto::limits::ipcDescriptionNesting;
  EXPECT_EQ(describe(vanto::test::nestedArrays(limit).get()), std::string(limit, '[') + std::string(limit, ']'));
  EXPECT_EQ(describe(vanto::test::nestedArrays(limit + 1).get()),
            std::string(limit, '[') + "[...]" + std::string(limit, ']'));
  EXPECT_EQ(describe(vanto::test::nestedArrays(100'000).get()),
            std::string(limit, '[') + "[...]" + std::string(limit, ']'));
}
