// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include <VantoService/KorURL.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>

#include "support/BinaryDocument.h"
#include "support/Nesting.h"
#include "support/PropertyLists.h"
#include "support/Values.h"
#include "value/PropertyListBinary.h"
#include "value/limits.h"

namespace vanto {
namespace {

using namespace testing;
using namespace std::string_literals;

PlistNumber* numberOf(int subtype, std::int64_t bits) {
  return PlistNumber::create(static_cast<KorNumberType>(subtype), &bits).asTemporary();
}
PlistDate* date(double seconds) {
  return PlistDate::create(seconds).asTemporary();
}
PlistData* dataOf(std::string_view bytes) {
  return PlistData::create(bytesOf(bytes)).asTemporary();
}

/// Expects that the value is written, reads back equal, and is then written alike. Gives what was read.
Ref<PlistValue> expectRoundTrip(const Object& value) {
  const std::string first = writtenBinary(value);
  EXPECT_EQ(mistakeIn(first), "");
  Ref<PlistValue> back = readDocument(first);
  if (!back) return nullptr;
  EXPECT_TRUE(back->isEqual(&value));
  EXPECT_TRUE(value.isEqual(back.get()));
  EXPECT_EQ(writtenBinary(*back), first);
  return back;
}

TEST(PropertyListBinaryWriter, WritesEveryKindInItsForm) {
  const Object* value = dictionary({{string("array"), array({PlistBoolean::of(false), PlistBoolean::of(true)})},
                                    {string("data"), dataOf("\x01\x02"s)},
                                    {string("date"), date(0.5)},
                                    {string("dictionary"), dictionary({})},
                                    {string("number"), number(-2)},
                                    {string("string"), string("data")}});
  const BinaryDocument expected = BinaryDocument({"array", "data", "date", "dictionary", "number", "string"})
                                      .dictionary(6)
                                      .count(0)
                                      .array(2)
                                      .boolean(false)
                                      .boolean(true)
                                      .count(1)
                                      .data("\x01\x02")
                                      .count(2)
                                      .date(0x3FE0'0000'0000'0000)
                                      .count(3)
                                      .dictionary(0)
                                      .count(4)
                                      .number(4, 1, 0xFE)
                                      .count(5)
                                      .string(1);
  EXPECT_EQ(writtenBinary(*value), expected.bytes());
}

TEST(PropertyListBinaryWriter, WritesTheExampleOfTheDocumentation) {
  const Object* value = dictionary({{string("Echo"), string("Name")}, {string("Name"), array({number(300)})}});
  EXPECT_EQ(writtenBinary(*value),
            "\xF5values\x01\x01\x02\x04\x04"
            "Echo\0Name\0\x07\x02\x00\x03\x01\x01\x06\x01\x23\x2C\x01"s);
}

TEST(PropertyListBinaryWriter, KeepsEverySubtypeAtItsEnds) {
  for (int subtype = 1; subtype <= 16; ++subtype) {
    for (const std::int64_t bits :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{0x7F}, std::int64_t{0x80},
          std::int64_t{0x7FFF}, std::int64_t{0x8000}, std::int64_t{0x7FFF'FFFF}, std::int64_t{0x8000'0000},
          std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min(),
          std::int64_t{0x4142'4344'4546'4748}}) {
      PlistNumber* value = numberOf(subtype, bits);
      const Ref<PlistValue> back = expectRoundTrip(*value);
      const auto* number = as<PlistNumber>(back.get());
      ASSERT_NE(number, nullptr);
      EXPECT_EQ(number->subtype(), subtype);
      EXPECT_EQ(number->int64Value(), value->int64Value());
      EXPECT_EQ(&number->runtimeClass(), &PlistNumber::classDescriptor());
    }
  }
}

TEST(PropertyListBinaryWriter, WritesEverySubtypeWithATagOfItsOwn) {
  for (int subtype = 1; subtype <= 16; ++subtype) {
    const std::size_t realBytes = binary::numberForms[subtype - 1].realBytes;
    const auto bytes = static_cast<unsigned>(realBytes == 0 ? 1 : realBytes);
    EXPECT_EQ(writtenBinary(*numberOf(subtype, 0)),
              BinaryDocument().number(static_cast<unsigned>(subtype), bytes, 0).bytes());
  }
}

TEST(PropertyListBinaryWriter, KeepsTheBitsOfEveryReal) {
  std::mt19937_64 random(9);
  std::vector<std::uint64_t> samples = {0,
                                        std::uint64_t{1} << 63,
                                        0x7FF8'0000'0000'0000,
                                        0x7FF0'0000'0000'0001,
                                        0xFFF8'0000'0000'1234,
                                        0x7FF0'0000'0000'0000,
                                        1};
  for (int round = 0; round < 2000; ++round) samples.push_back(random());
  for (const std::uint64_t bits : samples) {
    const auto value = std::bit_cast<double>(bits);
    const Ref<PlistValue> back = expectRoundTrip(*array({real(value), date(value)}));
    const auto* values = as<PlistArray>(back.get());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(as<PlistNumber>(values->at(0))->doubleValue()), bits);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(as<PlistDate>(values->at(1))->secondsSince1970()), bits);
  }
}

TEST(PropertyListBinaryWriter, KeepsTheBitsOfEveryReal32) {
  std::mt19937 random(10);
  for (int round = 0; round < 2000; ++round) {
    const std::uint32_t bits = round == 0 ? 0x7FC0'0123 : static_cast<std::uint32_t>(random());
    const PlistNumber* value = numberOf(KorNumberFloat32Type, static_cast<std::int64_t>(bits));
    const Ref<PlistValue> back = expectRoundTrip(*value);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(as<PlistNumber>(back.get())->doubleValue()),
              std::bit_cast<std::uint64_t>(value->doubleValue()));
  }
}

TEST(PropertyListBinaryWriter, KeepsBooleansApartFromNumbers) {
  const Ref<PlistValue> back = expectRoundTrip(*array({PlistBoolean::of(true), numberOf(KorNumberCharType, 1)}));
  const auto* values = as<PlistArray>(back.get());
  EXPECT_EQ(values->at(0), PlistBoolean::of(true));
  EXPECT_EQ(as<PlistBoolean>(values->at(1)), nullptr);
}

TEST(PropertyListBinaryWriter, CarriesAnyUnicode) {
  std::string all;
  for (int character = 0; character < 0x80; ++character) all += static_cast<char>(character);
  const Ref<PlistValue> back = expectRoundTrip(*string(all));
  EXPECT_EQ(as<PlistString>(back.get())->text(), all);
  static_cast<void>(expectRoundTrip(*string("\uFFFE\uFFFF\U0010FFFF\uD7FF\uE000")));
  static_cast<void>(expectRoundTrip(*dictionary({{string("a\0b"s), number(1)}, {string("a"), number(2)}})));
}

TEST(PropertyListBinaryWriter, WritesMutableValuesAsTheirKind) {
  const Object* fixed = dictionary({{string("k"), array({string("a")})}});
  const Object* changeable = mutableDictionary({{string("k"), mutableArray({mutableString("a")})}});
  EXPECT_EQ(writtenBinary(*changeable), writtenBinary(*fixed));
  const Ref<PlistValue> back = expectRoundTrip(*changeable);
  EXPECT_EQ(&back->runtimeClass(), &PlistDictionary::classDescriptor());
}

TEST(PropertyListBinaryWriter, GivesTheSameBytesInWhateverOrderADictionaryWasFilled) {
  std::vector<PlistDictionary::Entry> entries;
  for (int index = 0; index < 500; ++index) entries.push_back({string(std::to_string(index)), number(index)});
  const std::string expected = writtenBinary(*dictionary(entries));
  std::shuffle(entries.begin(), entries.end(), std::mt19937(11));
  EXPECT_EQ(writtenBinary(*dictionary(entries)), expected);
  EXPECT_EQ(writtenBinary(*mutableDictionary(entries)), expected);
}

TEST(PropertyListBinaryWriter, StoresARepeatedStringOnce) {
  const std::string text(200, 'x');
  std::vector<Object*> elements;
  for (int count = 0; count < 100; ++count) elements.push_back(dictionary({{string(text), string(text)}}));
  const std::string document = writtenBinary(*array(elements));
  EXPECT_EQ(document.find(text), document.rfind(text));
  const Ref<PlistValue> back = readDocument(document);
  const auto* first = as<PlistDictionary>(as<PlistArray>(back.get())->at(0));
  const auto* last = as<PlistDictionary>(as<PlistArray>(back.get())->at(99));
  EXPECT_EQ(first->valueForKey(text), last->valueForKey(text));
}

TEST(PropertyListBinaryWriter, GivesCountsTheirSmallestWidth) {
  const auto widthOf = [](std::size_t length) {
    return writtenBinary(*dataOf(std::string(length, 'x')))[binary::headerBytes - 1];
  };
  EXPECT_EQ(widthOf(0xFF), 1);
  EXPECT_EQ(widthOf(0x100), 2);
  EXPECT_EQ(widthOf(0xFFFF), 2);
  EXPECT_EQ(widthOf(0x10000), 3);
  EXPECT_EQ(widthOf(0xFFFFFF), 3);
  EXPECT_EQ(widthOf(0x1000000), 4);
  for (const std::size_t length : {0xFFUL, 0x100UL, 0xFFFFUL, 0x10000UL, 0xFFFFFFUL, 0x1000000UL}) {
    static_cast<void>(expectRoundTrip(*dataOf(std::string(length, 'x'))));
    static_cast<void>(expectRoundTrip(*string(std::string(length, 'x'))));
  }
  static_cast<void>(expectRoundTrip(*array(std::vector<Object*>(0x10000, number(1)))));
}

TEST(PropertyListBinaryWriter, RefusesWhatIsNoPropertyListValue) {
  EXPECT_EQ(writtenBinary(*array({nullptr})), "an array with a hole cannot be written");
  KorURL* url = KorURL::create(*string("/tmp"), true).asTemporary();
  EXPECT_EQ(writtenBinary(*dictionary({{string("k"), url}})),
            "an object that is no property-list value cannot be written");
}

TEST(PropertyListBinaryWriter, NestsToTheLimitAndNotOneDeeper) {
  const Ref<Object> deepest = nestedContainers(limits::propertyListNesting, *number(1));
  EXPECT_EQ(mistakeIn(writtenBinary(*deepest)), "");
  EXPECT_EQ(writtenBinary(*array({deepest.get()})), "containers nested too deep for readers");
}

TEST(PropertyListBinaryWriter, TakesUpTo64MiBAndNotOneByteMore) {
  // Header, table without strings, tag and length; counts take 4 bytes.
  constexpr std::size_t rest = 9 + 4 + 1 + 4;
  const std::string bytes(limits::propertyListFileBytes - rest + 1, 'x');
  const std::string_view text = bytes;
  const std::string largest = writtenBinary(*dataOf(text.substr(1)));
  EXPECT_EQ(largest.size(), limits::propertyListFileBytes);
  EXPECT_EQ(mistakeIn(largest), "");
  EXPECT_EQ(writtenBinary(*dataOf(text)), "a value that takes more than 64 MiB cannot be written");
}

TEST(PropertyListBinaryWriter, RefusesTextsThatTogetherTakeTooMuch) {
  const std::string half(limits::propertyListFileBytes / 2, 'x');
  EXPECT_EQ(writtenBinary(*array({string(half + "a"), string(half + "b")})),
            "a value that takes more than 64 MiB cannot be written");
}

TEST(PropertyListBinaryWriter, LeavesTheErrorAloneWhenThereIsNone) {
  PropertyListError error{7, 8, "before"};
  EXPECT_TRUE(createPropertyListBinary(*number(1), &error));
  EXPECT_EQ(error.message, "before");
  EXPECT_FALSE(createPropertyListBinary(*array({nullptr})));
  EXPECT_FALSE(createPropertyListBinary(*array({nullptr}), &error));
  EXPECT_EQ(error.line, 0U);
  EXPECT_EQ(error.column, 0U);
}

}  // namespace
}  // namespace vanto
