// SPDX-License-Identifier: Apache-2.0
#include "vanto/JsonText.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <VantoService/PlistDate.h>
#include <VantoService/TemporaryScope.h>

#include "support/Nesting.h"
#include "support/PropertyLists.h"
#include "support/Values.h"

namespace vanto::tool {
namespace {

using namespace vanto::testing;

/// The text without its last line feed, or the reason why there is none.
std::string json(Object* value) {
  JsonProblem problem;
  const std::string text = jsonText(*value, problem);
  return text.empty() ? problem.where.name() + ": " + problem.message : text.substr(0, text.size() - 1);
}

std::string jsonOfElement(const char* element) {
  return json(readElement(element).get());
}

/// True when the value comes back from its text, and that text from it.
bool comesBack(Object* value) {
  JsonProblem problem;
  const std::string text = jsonText(*value, problem);
  const Ref<PlistValue> read = createFromJson(text, problem);
  return read && read->isEqual(value) && jsonText(*read, problem) == text;
}

class JsonText : public ::testing::Test {
  const TemporaryScope scope_;
};

TEST_F(JsonText, HasPlainFormsForWhatJsonHas) {
  EXPECT_EQ(jsonOfElement(
                "<dict><key>b</key><array><true/><integer>-5</integer></array><key>a</key><string>x</string></dict>"),
            "{\n  \"a\": \"x\",\n  \"b\": [\n    true,\n    -5\n  ]\n}");
}

TEST_F(JsonText, HasAFormInOneLine) {
  JsonProblem problem;
  EXPECT_EQ(jsonLine(*dictionary({{string("b\n"), array({number(1), string("\u202e")})}}), problem),
            "{\"b\\n\":[1,\"\\u202e\"]}\n");
  EXPECT_EQ(jsonLine(*PlistArray::create(std::vector<Object*>{nullptr}), problem), "");
  EXPECT_EQ(problem.message, "an array with a hole");
}

TEST_F(JsonText, KeepsIntegersAndRealsApart) {
  EXPECT_EQ(jsonOfElement("<integer>1</integer>"), "1");
  EXPECT_EQ(jsonOfElement("<real>1</real>"), "1.0");
  EXPECT_EQ(jsonOfElement("<real>1e300</real>"), "1e+300");
  EXPECT_EQ(jsonOfElement("<integer>-9223372036854775808</integer>"), "-9223372036854775808");
  EXPECT_EQ(json(real(std::numeric_limits<double>::infinity())), "{\n  \"$real\": \"inf\"\n}");
}

TEST_F(JsonText, HasWordsForDataAndDates) {
  EXPECT_EQ(jsonOfElement("<data>AQID</data>"), "{\n  \"$data\": \"AQID\"\n}");
  EXPECT_EQ(jsonOfElement("<date>2001-09-09T01:46:40Z</date>"), "{\n  \"$date\": \"2001-09-09T01:46:40Z\"\n}");
  EXPECT_EQ(json(PlistDate::create(0.5).asTemporary()), "{\n  \"$date\": 0.5\n}");
}

TEST_F(JsonText, ProtectsDictionariesThatLookLikeAWord) {
  EXPECT_EQ(json(dictionary({{string("$data"), string("x")}})),
            "{\n  \"$dictionary\": {\n    \"$data\": \"x\"\n  }\n}");
}

TEST_F(JsonText, ReadsBackEqual) {
  float single = 0.1F;
  std::int8_t small = -5;
  Object* data = PlistData::create(bytesOf("\1\2")).asTemporary();
  Object* values[] = {string("é\n\u202e\"\\"),
                      string(std::string_view("a\0b", 3)),
                      number(INT64_MAX),
                      number(INT64_MIN),
                      real(0.1),
                      real(-0.0),
                      real(5e-324),
                      real(1.7976931348623157e308),
                      real(std::nan("")),
                      real(-std::numeric_limits<double>::infinity()),
                      PlistNumber::create(KorNumberFloat32Type, &single).asTemporary(),
                      PlistNumber::create(KorNumberSInt8Type, &small).asTemporary(),
                      PlistBoolean::of(false),
                      data,
                      PlistDate::create(-62135596800.0).asTemporary(),
                      PlistDate::create(1e300).asTemporary(),
                      array({}),
                      dictionary({}),
                      dictionary({{string("$data"), data}}),
                      dictionary({{string("$data"), data}, {string("a"), number(1)}}),
                      dictionary({{string("$dictionary"), data}, {string("a"), number(1)}}),
                      dictionary({{string("$dictionary"), dictionary({{string("$dictionary"), data}})}}),
                      dictionary({{string("$number"), dictionary({{string("subtype"), number(3)}})}})};
  for (Object* value : values) EXPECT_TRUE(comesBack(value)) << json(value);
  EXPECT_TRUE(comesBack(array({values[0], values[9], values[18], values[20]})));
}

TEST_F(JsonText, KeepsSubtypesOfNumbers) {
  for (int subtype = KorNumberSInt8Type; subtype <= KorNumberGraphicsFloatType; ++subtype) {
    const std::int64_t zero = 0;
    const Ref<PlistNumber> value = PlistNumber::create(static_cast<KorNumberType>(subtype), &zero);
    JsonProblem problem;
    const Ref<PlistValue> read = createFromJson(jsonText(*value, problem), problem);
    ASSERT_NE(as<PlistNumber>(read.get()), nullptr) << subtype;
    EXPECT_EQ(as<PlistNumber>(read.get())->subtype(), subtype);
  }
}

TEST_F(JsonText, RefusesWhatJsonCannotCarryWithItsKey) {
  EXPECT_EQ(json(array({nullptr})), "[0]: an array with a hole");
  Object* never = PlistDate::create(std::nan("")).asTemporary();
  EXPECT_EQ(json(dictionary({{string("a"), array({never})}})), "a[0]: a date that is no time");
}

TEST_F(JsonText, CannotInjectControlCharacters) {
  const std::string text = json(dictionary({{string("\x1b[31m\u202e"), string("\u009b\x7f\ufeff\r")}}));
  EXPECT_EQ(text, "{\n  \"\\u001b[31m\\u202e\": \"\\u009b\\u007f\\ufeff\\r\"\n}");
}

TEST_F(JsonText, TellsWhereTextIsNoJson) {
  JsonProblem problem;
  EXPECT_FALSE(createFromJson("{\n  \"a\": x\n}", problem));
  EXPECT_EQ(problem.line, 2U);
  EXPECT_EQ(problem.column, 8U);
  EXPECT_TRUE(problem.message.starts_with("no JSON: ")) << problem.message;
}

TEST_F(JsonText, TellsOfBadTextWithoutRepeatingItsControlCharacters) {
  for (const char* text : {"\x1b]0;x\x07", "{\"a\x1b\": 1}", "\"\u009b", "[1,\u202e]", "\xff"}) {
    JsonProblem problem;
    EXPECT_FALSE(createFromJson(text, problem));
    EXPECT_NE(problem.message, "");
    for (const char c : problem.message) EXPECT_TRUE(c >= ' ' && c <= '~') << problem.message;
  }
}

TEST_F(JsonText, HasNoIndentationWhereThatWouldBeMostOfIt) {
  const std::vector<Object*> elements(std::size_t{1} << 16, PlistBoolean::of(true));
  const Ref<PlistArray> wide = PlistArray::create(elements);
  EXPECT_EQ(json(array({wide.get()})).find('\n'), 1U);
  const std::string text = json(nestedContainers(512, *wide).get());
  EXPECT_EQ(text.find('\n'), std::string::npos);
  EXPECT_LT(text.size(), std::size_t{1} << 20);
}

}  // namespace
}  // namespace vanto::tool
