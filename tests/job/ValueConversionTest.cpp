// SPDX-License-Identifier: Apache-2.0
#include "job/ValueConversion.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "job/SampleValues.h"
#include "support/Nesting.h"
#include "support/SmallStack.h"

namespace vanto::testing {
namespace {

using Node = ConversionForm::Node;

/// What the walk asked for, in its order. Nodes are numbers of makings, from 1.
std::vector<std::string> steps;

Node made(const std::string& what) {
  steps.push_back(what);
  return reinterpret_cast<Node>(steps.size());
}

std::string name(Node node) {
  return node == nullptr ? "null" : "#" + std::to_string(reinterpret_cast<std::size_t>(node));
}

constexpr ConversionForm recordingForm{
    [](const char* text) { return made(std::string("string ") + text); },
    [](bool value) { return made(value ? "true" : "false"); },
    [] { return made("array"); },
    [] { return made("dictionary"); },
    [](const std::uint8_t*, std::size_t length) { return made("data " + std::to_string(length)); },
    [](std::int64_t value) { return made("integer " + std::to_string(value)); },
    [](double value) { return made("real " + std::to_string(value)); },
    [](Node array, std::size_t index, Node element) {
      steps.push_back("put " + name(element) + " at " + std::to_string(index) + " of " + name(array));
    },
    [](Node dictionary, PlistString* key, Node value) {
      steps.push_back("put " + name(value) + " under " + std::string(key->text()) + " of " + name(dictionary));
    },
    [] { steps.emplace_back("refuse number"); },
    [] { steps.emplace_back("refuse kind"); },
};

using Steps = std::vector<std::string>;

Steps stepsOf(Object* value) {
  steps.clear();
  static_cast<void>(convertValue(value, recordingForm));
  return steps;
}

TEST(ValueConversion, MakesALeafAndNothingElse) {
  EXPECT_EQ(stepsOf(string("text")), Steps{"string text"});
  EXPECT_EQ(stepsOf(data({1, 2})), Steps{"data 2"});
  EXPECT_EQ(stepsOf(real(0.5)), Steps{"real 0.500000"});
}

TEST(ValueConversion, TakesABooleanForNoNumber) {
  EXPECT_EQ(stepsOf(PlistBoolean::of(true)), Steps{"true"});
  EXPECT_EQ(stepsOf(PlistBoolean::of(false)), Steps{"false"});
}

TEST(ValueConversion, FinishesEachContainerBeforeItIsPutAnywhere) {
  Object* inner = array({string("a"), string("b")});
  EXPECT_EQ(stepsOf(dictionary({{string("k"), inner}, {string("l"), number(1)}})),
            (Steps{"dictionary", "array", "string a", "put #3 at 0 of #2", "string b", "put #5 at 1 of #2",
                   "put #2 under k of #1", "integer 1", "put #8 under l of #1"}));
}

TEST(ValueConversion, SkipsHolesButCountsThem) {
  EXPECT_EQ(stepsOf(array({nullptr, number(1), nullptr, nullptr, number(2), nullptr})),
            (Steps{"array", "integer 1", "put #2 at 1 of #1", "integer 2", "put #4 at 4 of #1"}));
  EXPECT_EQ(stepsOf(array({nullptr, nullptr})), Steps{"array"});
}

TEST(ValueConversion, PutsNullForWhatItCannotConvertAndGoesOn) {
  EXPECT_EQ(stepsOf(array({date(), number(1), numberOfSubtype(14)})),
            (Steps{"array", "refuse kind", "put null at 0 of #1", "integer 1", "put #4 at 1 of #1", "refuse number",
                   "put null at 2 of #1"}));
  EXPECT_EQ(stepsOf(dictionary({{string("k"), date()}})),
            (Steps{"dictionary", "refuse kind", "put null under k of #1"}));
}

TEST(ValueConversion, RefusesNullAsAKind) {
  EXPECT_EQ(stepsOf(nullptr), Steps{"refuse kind"});
  EXPECT_EQ(convertValue(nullptr, recordingForm), nullptr);
}

TEST(ValueConversion, SortsNumbersByTheirSubtype) {
  const std::string integer = "integer 3";
  const std::string real = "real 3.000000";
  const std::string refused = "refuse number";
  const std::vector<std::string> expected = {integer, integer, integer, integer, real, real,    integer, integer,
                                             integer, integer, integer, real,    real, refused, refused, refused};
  for (std::int32_t code = 1; code <= 16; ++code) {
    EXPECT_EQ(stepsOf(numberOfSubtype(code)), Steps{expected[static_cast<std::size_t>(code) - 1]}) << code;
  }
}

TEST(ValueConversion, ReadsNumbersAtTheirEnds) {
  EXPECT_EQ(stepsOf(number(INT64_MIN)), Steps{"integer -9223372036854775808"});
  EXPECT_EQ(stepsOf(number(INT64_MAX)), Steps{"integer 9223372036854775807"});
  const std::int8_t small = -128;
  EXPECT_EQ(stepsOf(PlistNumber::create(KorNumberSInt8Type, &small).asTemporary()), Steps{"integer -128"});
  const float half = -0.5F;
  EXPECT_EQ(stepsOf(PlistNumber::create(KorNumberFloat32Type, &half).asTemporary()), Steps{"real -0.500000"});
}

TEST(ValueConversion, GoesAsDeepAsAValueDoesOnLittleStack) {
  for (const std::size_t depth : {512U, 513U, 100'000U}) {
    const Ref<Object> value = nestedContainers(depth, *string("innermost"));
    runOnSmallStack(std::size_t{256} << 10, [&] { static_cast<void>(stepsOf(value.get())); });
    // One making and one putting for each container and the string, but the outermost is put nowhere.
    EXPECT_EQ(steps.size(), 2 * depth + 1);
    EXPECT_EQ(steps[depth], "string innermost");
  }
  steps.clear();
}

std::string_view convertedText(const std::string& text) {
  static ConvertedText converted(*string(""));
  converted = ConvertedText(*string(text));
  return converted.utf8;
}

TEST(ConvertedText, IsTheWholeTextUpTo4095Bytes) {
  EXPECT_EQ(convertedText(""), "");
  EXPECT_EQ(convertedText("h\u00e9llo"), "h\u00e9llo");
  const std::string longest(4095, 'x');
  EXPECT_EQ(convertedText(longest), longest);
}

TEST(ConvertedText, IsEmptyBeyondThat) {
  EXPECT_EQ(convertedText(std::string(4096, 'x')), "");
  EXPECT_EQ(convertedText(std::string(1'000'000, 'x')), "");
  // 4,096 bytes, though fewer characters.
  std::string wide;
  while (wide.size() < 4096) wide += "\u00e9";
  EXPECT_EQ(convertedText(wide), "");
}

TEST(ConvertedText, IsEmptyForTextWithNulInIt) {
  EXPECT_EQ(convertedText(std::string("before\0behind", 13)), "");
  EXPECT_EQ(convertedText(std::string("\0", 1)), "");
}

}  // namespace
}  // namespace vanto::testing
