// SPDX-License-Identifier: Apache-2.0
#include "vanto/JsonReader.h"

#include <string>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

namespace vanto::tool {
namespace {

/// Why the text is refused: "key path: message"; empty when it is not.
std::string refusal(const std::string& text) {
  const TemporaryScope scope;
  JsonProblem problem;
  return createFromJson(text, problem) ? "" : problem.where.name() + ": " + problem.message;
}

TEST(JsonReader, TakesEveryWord) {
  for (const char* text :
       {R"({"$data": "AQID"})", R"({"$data": ""})", R"({"$date": "2026-11-21T08:00:00Z"})", R"({"$date": 1.5})",
        R"({"$date": 7})", R"({"$real": "nan"})", R"({"$number": {"subtype": 1, "value": -128}})",
        R"({"$dictionary": {"$data": 5}})", R"({"$dictionary": {}})", R"({"$other": 1})",
        R"({"$dictionary": {"$dictionary": {"a": {"$real": "inf"}}}})"}) {
    EXPECT_EQ(refusal(text), "") << text;
  }
}

TEST(JsonReader, RefusesNullWithItsKey) {
  EXPECT_EQ(refusal("null"), "the outermost value: null has no counterpart; leave the entry out");
  EXPECT_EQ(refusal(R"({"a": [1, {"b": null}]})"), "a[1].b: null has no counterpart; leave the entry out");
}

TEST(JsonReader, RefusesIntegersOutsideSigned64Bits) {
  EXPECT_EQ(refusal("[9223372036854775807]"), "");
  EXPECT_EQ(refusal("[9223372036854775808]"), "[0]: an integer outside signed 64 bits");
  EXPECT_EQ(refusal("[1, 99999999999999999999999]"), "[1]: an integer outside signed 64 bits");
  EXPECT_EQ(refusal("[-9223372036854775809]"), "[0]: an integer outside signed 64 bits");
}

TEST(JsonReader, RefusesNumbersThatWouldBecomeZero) {
  EXPECT_EQ(refusal("1e-999"), "the outermost value: a number so small that it would become zero");
  EXPECT_EQ(refusal("0e-999"), "");
  EXPECT_EQ(refusal("0.0"), "");
}

TEST(JsonReader, RefusesKeysThatComeTwice) {
  EXPECT_EQ(refusal(R"({"o": {"a": 1, "b": 2, "a": 3}})"), "o.a: a key that comes twice");
}

TEST(JsonReader, RefusesWordsWithWrongContents) {
  for (const char* text :
       {R"({"$data": 5})", R"({"$data": "A"})", R"({"$date": "yesterday"})", R"({"$date": true})", R"({"$real": 1})",
        R"({"$real": "NaN"})", R"({"$number": 5})", R"({"$number": {"subtype": 1, "value": 300}})",
        R"({"$number": {"subtype": 17, "value": 1}})", R"({"$number": {"subtype": 4294967299, "value": 1}})",
        R"({"$number": {"subtype": 3, "value": 1.0}})", R"({"$number": {"subtype": 5, "value": 1}})",
        R"({"$number": {"subtype": 3, "value": 1, "x": 1}})", R"({"$number": {"subtype": true, "value": 1}})",
        R"({"$dictionary": 1})", R"({"$data": "AQID", "a": 1})", R"({"$dictionary": {}, "a": 1})"}) {
    EXPECT_NE(refusal(text), "") << text;
  }
  EXPECT_EQ(refusal(R"({"a": {"$date": true}})"), "a: $date: no string");
}

TEST(JsonReader, TakesContainersAsDeepAsTheyMayBeAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_EQ(refusal(nested(512)), "");
  EXPECT_NE(refusal(nested(515)), "");
  EXPECT_NE(refusal(std::string(1'000'000, '[')), "");
}

}  // namespace
}  // namespace vanto::tool
