// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include <VantoService/Bundle.h>
#include <VantoService/KorURL.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/TemporaryScope.h>

#include "support/Nesting.h"
#include "support/PropertyLists.h"
#include "support/Values.h"
#include "value/PropertyListCharacters.h"
#include "value/limits.h"

namespace vanto {
namespace {

using namespace testing;

class PropertyListWriter : public ::testing::Test {
 protected:
  /// Expects that the value is written, reads back equal, and is then written alike.
  static void expectRoundTrip(const Object& value) {
    const std::string first = written(value);
    const Ref<PlistValue> back = readDocument(first);
    ASSERT_TRUE(back) << first;
    EXPECT_TRUE(back->isEqual(&value)) << first;
    EXPECT_TRUE(value.isEqual(back.get())) << first;
    EXPECT_EQ(written(*back), first);
  }

  const TemporaryScope scope_;
};

PlistData* dataOf(std::string_view bytes) {
  return PlistData::create(bytesOf(bytes)).asTemporary();
}
PlistDate* date(double seconds) {
  return PlistDate::create(seconds).asTemporary();
}

TEST_F(PropertyListWriter, WritesEveryKindInItsForm) {
  const Object* value = dictionary(
      {{string("string"), string("text")},
       {string("array"), array({PlistBoolean::of(true), PlistBoolean::of(false), array({}), dictionary({})})},
       {string("data"), dataOf("abcd")},
       {string("date"), date(1795248000)},
       {string("integer"), number(-5)},
       {string("real"), real(0.25)},
       {string("dictionary"), dictionary({{string(""), string("")}})}});
  EXPECT_EQ(written(*value), R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>array</key>
	<array>
		<true/>
		<false/>
		<array/>
		<dict/>
	</array>
	<key>data</key>
	<data>YWJjZA==</data>
	<key>date</key>
	<date>2026-11-21T08:00:00Z</date>
	<key>dictionary</key>
	<dict>
		<key></key>
		<string></string>
	</dict>
	<key>integer</key>
	<integer>-5</integer>
	<key>real</key>
	<real>0.25</real>
	<key>string</key>
	<string>text</string>
</dict>
</plist>
)");
}

TEST_F(PropertyListWriter, ReadsBackEqual) {
  expectRoundTrip(*dictionary({{string("b"), array({string("x"), number(1), real(1.5), dataOf(""), date(-1)})},
                               {string("a"), dictionary({{string("k"), PlistBoolean::of(true)}})}}));
  expectRoundTrip(*PlistBoolean::of(false));
  expectRoundTrip(*array({}));
  expectRoundTrip(*dictionary({}));
  expectRoundTrip(*string(""));
}

TEST_F(PropertyListWriter, WritesMutableValuesLikeOthers) {
  const Object* value = mutableDictionary({{string("z"), mutableArray({mutableString("a&b")})},
                                           {string("m"), number(1)},
                                           {string("a"), mutableDictionary({})}});
  EXPECT_EQ(writtenElement(*value),
            "<dict>\n\t<key>a</key>\n\t<dict/>\n\t<key>m</key>\n\t<integer>1</integer>\n\t<key>z</key>\n\t<array>\n"
            "\t\t<string>a&amp;b</string>\n\t</array>\n</dict>");
  expectRoundTrip(*value);
}

TEST_F(PropertyListWriter, WritesKeysInAscendingOrder) {
  PlistMutableDictionary* value = PlistMutableDictionary::create().asTemporary();
  std::mt19937 random(7);
  for (int index = 0; index < 1000; ++index) value->setValueForKey(number(index), string(std::to_string(random())));
  const std::string document = written(*value);
  std::string previous;
  for (std::size_t at = 0; (at = document.find("<key>", at)) != std::string::npos; ++at) {
    const std::string key = document.substr(at + 5, document.find("</key>", at) - at - 5);
    ASSERT_LT(previous, key);
    previous = key;
  }
  expectRoundTrip(*value);
}

TEST_F(PropertyListWriter, EscapesWhatReadersWouldTakeForMarkup) {
  EXPECT_EQ(writtenElement(*string("<a & b> ]]> \"'")), "<string>&lt;a &amp; b&gt; ]]&gt; \"'</string>");
  EXPECT_EQ(writtenElement(*string("a\r\nb\rc\n\t")), "<string>a&#13;\nb&#13;c\n\t</string>");
  EXPECT_EQ(writtenElement(*dictionary({{string("<&>"), number(1)}})),
            "<dict>\n\t<key>&lt;&amp;&gt;</key>\n\t<integer>1</integer>\n</dict>");
}

TEST_F(PropertyListWriter, WritesExactlyTheCharactersOfXML) {
  for (std::uint32_t character = 0; character <= 0x110; ++character) {
    char bytes[4];
    const std::string one(bytes, characters::encode(character, bytes));
    for (const std::size_t padding : {std::size_t{0}, std::size_t{15}, std::size_t{40}}) {
      const std::string text = std::string(padding, 'x') + one + std::string(padding, 'y');
      if (characters::isAllowed(character)) {
        expectRoundTrip(*string(text));
        expectRoundTrip(*dictionary({{string(text), number(1)}}));
      } else {
        EXPECT_EQ(written(*string(text)), "a string with a character that XML does not allow cannot be written");
        EXPECT_EQ(written(*dictionary({{string(text), number(1)}})),
                  "a string with a character that XML does not allow cannot be written");
      }
    }
  }
}

TEST_F(PropertyListWriter, WritesCharactersOutsideASCII) {
  expectRoundTrip(*string("é€😀\U0010FFFF\uFFFD\uEFFF\uD7FF\uE000"));
  EXPECT_NE(written(*string("a\uFFFE")).find("cannot be written"), std::string::npos);
  EXPECT_NE(written(*string("a\uFFFF")).find("cannot be written"), std::string::npos);
}

TEST_F(PropertyListWriter, WritesTextsOfAnyLength) {
  for (std::size_t length = 0; length < 300; ++length) {
    expectRoundTrip(*string(std::string(length, 'x')));
    expectRoundTrip(*string(std::string(length, '&')));
    expectRoundTrip(*string(std::string(length, 'x') + "\r" + std::string(length / 2, 'y')));
  }
  expectRoundTrip(*string(std::string(3'000'000, '<')));
  expectRoundTrip(*string(std::string(40'000'000, 'x') + "<"));
}

TEST_F(PropertyListWriter, WritesDataOfAnyLength) {
  for (std::size_t length = 0; length < 100; ++length) expectRoundTrip(*dataOf(std::string(length, '\xA5')));
  expectRoundTrip(*dataOf(std::string(1'000'001, '\x5A')));
}

TEST_F(PropertyListWriter, WritesNumbersOfEverySubtypeExactly) {
  for (const std::int64_t value : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0},
                                   std::numeric_limits<std::int64_t>::max()}) {
    expectRoundTrip(*number(value));
  }
  for (const double value :
       {0.0, -0.0, 0.1, 1e300, 5e-324, std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    expectRoundTrip(*real(value));
  }
  for (std::int32_t subtype = 1; subtype <= 16; ++subtype) {
    std::int64_t bits = subtype == 5 || subtype == 12 ? std::bit_cast<std::int32_t>(0.1F) : 0x4142434445464748;
    expectRoundTrip(*PlistNumber::create(static_cast<KorNumberType>(subtype), &bits));
  }
}

TEST_F(PropertyListWriter, WritesRealsOfRandomBitsExactly) {
  std::mt19937_64 random(8);
  for (int round = 0; round < 20'000; ++round) expectRoundTrip(*real(std::bit_cast<double>(random())));
}

TEST_F(PropertyListWriter, WritesDatesThatHaveAForm) {
  for (const double seconds : {-62'135'596'800.0, -1.0, 0.0, 951'782'400.0, 253'402'300'799.0}) {
    expectRoundTrip(*date(seconds));
  }
  for (const double seconds : {-62'135'596'801.0, 253'402'300'800.0, std::nan(""), 1e300, HUGE_VAL, -HUGE_VAL}) {
    EXPECT_EQ(written(*date(seconds)), "a date outside the years 1 to 9999 cannot be written");
  }
  EXPECT_EQ(written(*date(0.5)), "a date between two seconds cannot be written");
}

TEST_F(PropertyListWriter, RefusesWhatIsNoPropertyListValue) {
  EXPECT_EQ(written(*array({nullptr})), "an array with a hole cannot be written");
  KorURL* url = KorURL::create(*string("/tmp"), true).asTemporary();
  EXPECT_EQ(written(*url), "an object that is no property-list value cannot be written");
  EXPECT_EQ(written(*array({number(1), url})), "an object that is no property-list value cannot be written");
  EXPECT_EQ(written(*dictionary({{string("k"), url}})), "an object that is no property-list value cannot be written");
}

TEST_F(PropertyListWriter, NestsToTheLimitAndNotOneDeeper) {
  for (const bool inDictionaries : {false, true}) {
    Object* value = array({});
    for (std::size_t depth = 1; depth < limits::propertyListNesting; ++depth) {
      value = inDictionaries ? static_cast<Object*>(dictionary({{string("k"), value}})) : array({value});
    }
    const std::string document = written(*value);
    EXPECT_TRUE(document.ends_with("</plist>\n"));
    EXPECT_EQ(mistakeIn(document), "");
    EXPECT_EQ(written(*array({value})), "containers nested too deep for readers");
    EXPECT_EQ(written(*dictionary({{string("k"), value}})), "containers nested too deep for readers");
  }
}

TEST_F(PropertyListWriter, WritesAsMuchAsReadersAcceptAndNotOneByteMore) {
  const std::size_t rest = written(*string("")).size();
  const std::string text(limits::propertyListFileBytes - rest + 1, 'x');
  const std::string largest = written(*string(std::string_view(text).substr(1)));
  EXPECT_EQ(largest.size(), limits::propertyListFileBytes);
  EXPECT_EQ(mistakeIn(largest), "");
  EXPECT_EQ(written(*string(text)), "a value that takes more than 64 MiB cannot be written");
}

TEST_F(PropertyListWriter, EndsEarlyWhereIndentationAloneWouldBeTooMuch) {
  // Half a million values of a few bytes each, five hundred containers deep.
  const std::vector<Object*> elements(std::size_t{1} << 19, PlistBoolean::of(true));
  const Ref<Object> value = nestedContainers(500, *PlistArray::create(elements).asTemporary());
  EXPECT_EQ(written(*value), "a value that takes more than 64 MiB cannot be written");
}

TEST_F(PropertyListWriter, RefusesAContainerThatHoldsItself) {
  PlistMutableArray* array = PlistMutableArray::create().leak();
  array->append(array);
  EXPECT_EQ(written(*array), "containers nested too deep for readers");
  // Undo the ring by hand, so that nothing is left behind.
  EXPECT_EQ(array->referenceCount(), 2U);
  const std::span<Object* const> elements = array->elements();
  const_cast<Object*&>(elements[0]) = PlistBoolean::of(true);
  array->release();
  array->release();
}

TEST_F(PropertyListWriter, LeavesTheErrorAloneWhenThereIsNone) {
  PropertyListError error{7, 8, "before"};
  EXPECT_TRUE(createPropertyListXML(*number(1), &error));
  EXPECT_EQ(error.message, "before");
  EXPECT_FALSE(createPropertyListXML(*array({nullptr})));
  EXPECT_FALSE(createPropertyListXML(*array({nullptr}), &error));
  EXPECT_EQ(error.line, 0U);
  EXPECT_EQ(error.column, 0U);
}

TEST_F(PropertyListWriter, GivesDataThatOwnsItself) {
  const Ref<PlistData> first = createPropertyListXML(*number(1));
  const Ref<PlistData> second = first;
  EXPECT_EQ(first->referenceCount(), 2U);
  EXPECT_EQ(&first->runtimeClass(), &PlistData::classDescriptor());
}

}  // namespace
}  // namespace vanto
