// SPDX-License-Identifier: Apache-2.0
#include <VantoService/KorFunctions.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace std::string_view_literals;
using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

Ref<PlistData> data(std::string_view text) {
  return PlistData::create({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

TEST(KorFunctions, RetainAndRelease) {
  const Ref<PlistString> text = PlistString::create("a");
  EXPECT_EQ(KorRetain(text.get()), text.get());
  EXPECT_EQ(text->referenceCount(), 2u);
  KorRelease(text.get());
  EXPECT_EQ(text->referenceCount(), 1u);
  EXPECT_EQ(KorRetain(nullptr), nullptr);
  KorRelease(nullptr);
}

TEST(KorFunctions, GiveEachKindATypeIdentifierOfItsOwn) {
  const std::map<KorTypeID, std::string> identifiers{
      {KorStringGetTypeID(), "string"}, {KorBooleanGetTypeID(), "boolean"},
      {KorArrayGetTypeID(), "array"},   {KorDictionaryGetTypeID(), "dictionary"},
      {KorDataGetTypeID(), "data"},     {KorNumberGetTypeID(), "number"},
      {KorDateGetTypeID(), "date"},     {PlistValue::classDescriptor().typeID, "none"}};
  EXPECT_EQ(identifiers.size(), 8u);
  EXPECT_NE(KorGetTypeID(PlistBoolean::of(true)), KorNumberGetTypeID());
  EXPECT_EQ(KorGetTypeID(mutableString("")), KorStringGetTypeID());
}

TEST(KorFunctions, CopyStringsIntoABuffer) {
  char buffer[8];
  PlistString* text = string("Grün");
  EXPECT_TRUE(KorStringGetCString(text, buffer, sizeof buffer, KorStringEncodingUTF8));
  EXPECT_STREQ(buffer, "Grün");
  EXPECT_TRUE(KorStringGetCString(text, buffer, 6, KorStringEncodingUTF8));
  EXPECT_TRUE(KorStringGetCString(string(""), buffer, 1, KorStringEncodingUTF8));
  EXPECT_STREQ(buffer, "");
}

TEST(KorFunctions, MakeAStringOfBytesInUTF8) {
  const auto bytes = data("Grün");
  PlistString* text = KorStringCreateFromData(bytes.get(), KorDataEncodingUTF8);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->text(), "Grün");
  KorRelease(text);
}

TEST(KorFunctions, MakeNoStringOfOtherBytes) {
  const auto bytes = data("Gr\xfcn");
  EXPECT_EQ(KorStringCreateFromData(bytes.get(), KorDataEncodingUTF8), nullptr);
  EXPECT_EQ(KorStringCreateFromData(nullptr, KorDataEncodingUTF8), nullptr);
  const auto empty = PlistData::create({});
  EXPECT_EQ(KorStringCreateFromData(empty.get(), KorStringEncodingUTF8), nullptr);
}

TEST(KorFunctions, LeaveTheBufferAloneWhenAStringDoesNotFit) {
  char buffer[8] = "before";
  PlistString* text = string("Grün");
  EXPECT_FALSE(KorStringGetCString(text, buffer, 5, KorStringEncodingUTF8));
  EXPECT_FALSE(KorStringGetCString(text, buffer, 0, KorStringEncodingUTF8));
  EXPECT_FALSE(KorStringGetCString(string(""), buffer, 0, KorStringEncodingUTF8));
  EXPECT_FALSE(KorStringGetCString(text, buffer, sizeof buffer, 4));
  EXPECT_FALSE(KorStringGetCString(string("a\0b"sv), buffer, sizeof buffer, KorStringEncodingUTF8));
  EXPECT_STREQ(buffer, "before");
}

TEST(KorFunctions, ReadBooleans) {
  EXPECT_TRUE(KorBooleanGetValue(PlistBoolean::of(true)));
  EXPECT_FALSE(KorBooleanGetValue(PlistBoolean::of(false)));
}

TEST(KorFunctions, ReadArrays) {
  PlistNumber* element = number(1);
  PlistArray* values = array({nullptr, element});
  EXPECT_EQ(KorArrayGetCount(values), 2u);
  EXPECT_EQ(KorArrayGetValueAtIndex(values, 0), nullptr);
  EXPECT_EQ(KorArrayGetValueAtIndex(values, 1), element);
}

TEST(KorFunctions, ApplyAFunctionToEachEntry) {
  std::map<std::string, Object*> found;
  const auto collect = [](PlistString* key, Object* value, void* context) {
    static_cast<std::map<std::string, Object*>*>(context)->emplace(key->text(), value);
  };
  PlistNumber* one = number(1);
  PlistNumber* two = number(2);
  KorDictionaryApplyFunction(dictionary({{string("a"), one}, {string("b"), two}}), collect, &found);
  EXPECT_EQ(found, (std::map<std::string, Object*>{{"a", one}, {"b", two}}));
  found.clear();
  KorDictionaryApplyFunction(mutableDictionary({{string("c"), one}}), collect, &found);
  EXPECT_EQ(found.size(), 1u);
  found.clear();
  KorDictionaryApplyFunction(dictionary({}), collect, &found);
  EXPECT_TRUE(found.empty());
}

TEST(KorFunctions, ReadData) {
  const std::uint8_t bytes[] = {1, 2, 3};
  PlistData* data = PlistData::create(bytes).asTemporary();
  EXPECT_EQ(KorDataGetLength(data), 3u);
  EXPECT_EQ(std::memcmp(KorDataGetBytePtr(data), bytes, 3), 0);
}

TEST(KorFunctions, TellTheSubtypeOfANumber) {
  for (std::int32_t code = 1; code <= 16; ++code) {
    const std::int64_t zero = 0;
    const auto subtype = static_cast<KorNumberType>(code);
    EXPECT_EQ(KorNumberGetType(PlistNumber::create(subtype, &zero).get()), subtype);
  }
  EXPECT_EQ(KorNumberGetType(PlistBoolean::of(true)), KorNumberCharType);
}

/// Reads a number as the C type of a subtype and checks the value and whether it is told to be exact.
template <typename Value>
void expectReads(PlistNumber* number, KorNumberType subtype, Value expected, bool isExact) {
  // Guards show a value that is too long.
  struct {
    char before = 'b';
    alignas(1) char value[sizeof(Value)] = {};
    char after = 'a';
  } place;
  EXPECT_EQ(KorNumberGetValue(number, subtype, place.value), isExact) << subtype;
  Value found{};
  std::memcpy(&found, place.value, sizeof found);
  EXPECT_EQ(found, expected) << subtype;
  EXPECT_EQ(place.before, 'b');
  EXPECT_EQ(place.after, 'a');
}

template <typename Integer>
void expectReadsIntegers(KorNumberType subtype) {
  constexpr Integer top = std::numeric_limits<Integer>::max();
  constexpr Integer bottom = std::numeric_limits<Integer>::min();
  expectReads<Integer>(number(5), subtype, 5, true);
  expectReads<Integer>(number(top), subtype, top, true);
  expectReads<Integer>(number(bottom), subtype, bottom, true);
  expectReads<Integer>(number(greatest), subtype, top, std::int64_t{top} == greatest);
  expectReads<Integer>(number(least), subtype, bottom, std::int64_t{bottom} == least);
  expectReads<Integer>(real(-3), subtype, -3, true);
  expectReads<Integer>(real(2.75), subtype, 2, false);
  expectReads<Integer>(real(infinity), subtype, top, false);
  expectReads<Integer>(real(-1e300), subtype, bottom, false);
  expectReads<Integer>(real(notANumber), subtype, 0, false);
  expectReads<Integer>(PlistBoolean::of(true), subtype, 1, true);
}

TEST(KorFunctions, ReadNumbersAsEachIntegerSubtype) {
  expectReadsIntegers<std::int8_t>(KorNumberSInt8Type);
  expectReadsIntegers<std::int16_t>(KorNumberSInt16Type);
  expectReadsIntegers<std::int32_t>(KorNumberSInt32Type);
  expectReadsIntegers<std::int64_t>(KorNumberSInt64Type);
  expectReadsIntegers<char>(KorNumberCharType);
  expectReadsIntegers<short>(KorNumberShortType);
  expectReadsIntegers<int>(KorNumberIntType);
  expectReadsIntegers<long>(KorNumberLongType);
  expectReadsIntegers<long long>(KorNumberLongLongType);
  expectReadsIntegers<std::intptr_t>(KorNumberIndexType);
  expectReadsIntegers<std::intptr_t>(KorNumberIntegerType);
}

TEST(KorFunctions, ReadNumbersAs64BitFloats) {
  for (const KorNumberType subtype : {KorNumberFloat64Type, KorNumberDoubleType, KorNumberGraphicsFloatType}) {
    expectReads<double>(number(5), subtype, 5, true);
    expectReads<double>(real(0.1), subtype, 0.1, true);
    expectReads<double>(real(-infinity), subtype, -infinity, true);
    expectReads<double>(number((std::int64_t{1} << 53) + 1), subtype, 0x1p53, false);
    expectReads<double>(number(greatest), subtype, 0x1p63, false);
    expectReads<double>(number(least), subtype, -0x1p63, true);
    double found = 0;
    EXPECT_TRUE(KorNumberGetValue(real(notANumber), subtype, &found));
    EXPECT_TRUE(std::isnan(found));
  }
}

TEST(KorFunctions, ReadNumbersAs32BitFloats) {
  for (const KorNumberType subtype : {KorNumberFloat32Type, KorNumberFloatType}) {
    expectReads<float>(number(5), subtype, 5, true);
    expectReads<float>(real(0.5), subtype, 0.5F, true);
    expectReads<float>(real(0.1), subtype, 0.1F, false);
    expectReads<float>(real(1e300), subtype, std::numeric_limits<float>::infinity(), false);
    expectReads<float>(real(infinity), subtype, std::numeric_limits<float>::infinity(), true);
    expectReads<float>(number((std::int64_t{1} << 24) + 1), subtype, 0x1p24F, false);
    // Half-way between two floats, and a bit more than a double can tell.
    expectReads<float>(number((std::int64_t{1} << 60) + (std::int64_t{1} << 36) + 1), subtype, 0x1.000002p60F, false);
  }
}

TEST(KorFunctions, StoreNothingForAnUnknownSubtype) {
  std::int64_t value = 77;
  for (const std::int32_t code : {0, 17, -1}) {
    EXPECT_FALSE(KorNumberGetValue(number(5), static_cast<KorNumberType>(code), &value));
  }
  EXPECT_EQ(value, 77);
}

/// An object that pretends to be of another kind, as one from a careless caller.
template <typename T>
T* pretend(Object* object) {
  return static_cast<T*>(static_cast<void*>(object));
}

TEST(KorFunctionsDeathTest, RefuseNullAndOtherKinds) {
  char buffer[8];
  const auto ignore = [](PlistString*, Object*, void*) {
  };
  EXPECT_DEATH(KorGetTypeID(nullptr), "function KorGetTypeID");
  EXPECT_DEATH(KorStringGetCString(nullptr, buffer, 8, KorStringEncodingUTF8), "function KorStringGetCString");
  EXPECT_DEATH(KorStringGetCString(pretend<PlistString>(number(1)), buffer, 8, KorStringEncodingUTF8),
               "function KorStringGetCString");
  EXPECT_DEATH(KorBooleanGetValue(pretend<PlistBoolean>(number(1))), "function KorBooleanGetValue");
  EXPECT_DEATH(KorArrayGetCount(pretend<PlistArray>(number(1))), "function KorArrayGetCount");
  EXPECT_DEATH(KorArrayGetValueAtIndex(nullptr, 0), "function KorArrayGetValueAtIndex");
  EXPECT_DEATH(KorArrayGetValueAtIndex(array({}), 0), "function PlistArray at");
  EXPECT_DEATH(KorDictionaryApplyFunction(pretend<PlistDictionary>(array({})), ignore, nullptr),
               "function KorDictionaryApplyFunction");
  EXPECT_DEATH(KorDataGetLength(nullptr), "function KorDataGetLength");
  EXPECT_DEATH(KorDataGetBytePtr(pretend<PlistData>(string("a"))), "function KorDataGetBytePtr");
  EXPECT_DEATH(KorNumberGetType(pretend<PlistNumber>(string("a"))), "function KorNumberGetType");
  EXPECT_DEATH(KorNumberGetValue(nullptr, KorNumberIntType, buffer), "function KorNumberGetValue");
}

TEST(KorFunctionsDeathTest, RefuseAChangeWhileAFunctionIsApplied) {
  PlistMutableDictionary* values = mutableDictionary({{string("a"), number(1)}, {string("b"), number(2)}});
  const auto change = [](PlistString* key, Object*, void* context) {
    static_cast<PlistMutableDictionary*>(context)->setValueForKey(key, key);
  };
  EXPECT_DEATH(KorDictionaryApplyFunction(values, change, values), "function PlistMutableDictionary enumeration");
}

}  // namespace
