// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBinaryReader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <unistd.h>

#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>

#include "support/BinaryDocument.h"
#include "support/MemoryLimit.h"
#include "support/PropertyLists.h"
#include "support/Values.h"
#include "value/ObjectBlock.h"
#include "value/limits.h"

namespace vanto {
namespace {

using namespace testing;
using namespace std::string_literals;

/// Where and why a document is refused, as "byte message" with bytes counted from 1; empty when it is not.
std::string mistakeIn(const BinaryDocument& document) {
  const std::string mistake = testing::mistakeIn(document.bytes());
  EXPECT_TRUE(mistake.empty() || mistake.starts_with("0:")) << mistake;
  return mistake.substr(mistake.empty() ? 0 : 2);
}

/// The same for a value in a document without strings, with bytes counted from 1 at the value.
std::string mistakeInValue(BinaryDocument document) {
  const std::string mistake = mistakeIn(document);
  if (mistake.empty()) return mistake;
  const std::size_t space = mistake.find(' ');
  return std::to_string(std::stoul(mistake.substr(0, space)) - 10) + mistake.substr(space);
}

/// Memory of this process that is there at the moment.
std::size_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  file >> total >> resident;
  EXPECT_NE(resident, 0U);
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// A document with everything in it.
std::string sample() {
  std::int64_t bits = 0x4142'4344'4546'4748;
  std::vector<Object*> numbers;
  for (int subtype = 1; subtype <= 16; ++subtype) {
    numbers.push_back(PlistNumber::create(static_cast<KorNumberType>(subtype), &bits).asTemporary());
  }
  return writtenBinary(
      *dictionary({{string("numbers"), array(numbers)},
                   {string(""), array({PlistBoolean::of(true), PlistBoolean::of(false), array({}), dictionary({})})},
                   {string("text"), array({string("a\0é"s), string(""), string("text")})},
                   {string("other"), dictionary({{string("data"), PlistData::create(bytesOf("bytes")).asTemporary()},
                                                 {string("date"), PlistDate::create(1.25).asTemporary()}})}}));
}

/// Expects that bytes are refused with a place in them, or are the one form of a value.
void expectStrict(const std::string& bytes) {
  PropertyListError error;
  const Ref<PlistValue> value = createPropertyListFromBinary(bytesOf(bytes), &error);
  if (value) {
    EXPECT_EQ(writtenBinary(*value), bytes);
  } else {
    EXPECT_EQ(error.line, 0U);
    EXPECT_GE(error.column, 1U);
    EXPECT_LE(error.column, bytes.size() + 1);
    EXPECT_FALSE(error.message.empty());
  }
}

TEST(PropertyListBinaryReader, ReadsWhatWasWritten) {
  EXPECT_EQ(testing::mistakeIn(sample()), "");
  expectStrict(sample());
}

TEST(PropertyListBinaryReader, RefusesADocumentThatIsCutAnywhere) {
  const std::string whole = sample();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    PropertyListError error;
    // Exactly as many bytes as may be read.
    const std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(createPropertyListFromBinary(cut, &error)) << size;
    EXPECT_EQ(error.line, 0U);
    EXPECT_LE(error.column, size + 1);
    EXPECT_GE(error.column, 1U);
  }
}

TEST(PropertyListBinaryReader, ReadsChangedBytesAsAnotherValueOrNotAtAll) {
  const std::string whole = sample();
  for (std::size_t index = 0; index < whole.size(); ++index) {
    for (int change = 1; change < 256; ++change) {
      std::string changed = whole;
      changed[index] = static_cast<char>(changed[index] ^ change);
      expectStrict(changed);
    }
  }
}

TEST(PropertyListBinaryReader, ReadsDoubledDroppedAndMovedBytesAsAnotherValueOrNotAtAll) {
  const std::string whole = sample();
  std::mt19937 random(12);
  for (int round = 0; round < 20'000; ++round) {
    std::string changed = whole;
    for (std::size_t edits = 1 + random() % 3; edits != 0; --edits) {
      const std::size_t from = random() % changed.size();
      const std::size_t count = random() % 8;
      const std::string part = changed.substr(from, count);
      if (random() % 2 == 0) changed.erase(from, count);
      if (random() % 2 == 0) changed.insert(random() % (changed.size() + 1), part);
    }
    expectStrict(changed);
  }
}

TEST(PropertyListBinaryReader, RefusesWhatFollowsTheValue) {
  EXPECT_EQ(mistakeInValue(BinaryDocument().boolean(true).byte(0)), "2 expected nothing more behind the value");
  EXPECT_EQ(mistakeInValue(BinaryDocument().array(0).boolean(true)), "3 expected nothing more behind the value");
}

TEST(PropertyListBinaryReader, TakesItsOwnHeaderOnly) {
  EXPECT_EQ(mistakeIn(BinaryDocument::withoutTable().count(0).boolean(true)), "");
  EXPECT_EQ(testing::mistakeIn("\xF5valuez\x01\x01\x00\x01"s), "0:7 expected the beginning of a property list");
  EXPECT_EQ(testing::mistakeIn("\xF5val"s), "0:5 expected more bytes");
  EXPECT_EQ(testing::mistakeIn("\xF5values\x01"s), "0:9 expected more bytes");
  EXPECT_EQ(testing::mistakeIn("\xF5values\x00\x01\x00\x01"s), "0:8 expected version 1 of the binary form");
  EXPECT_EQ(testing::mistakeIn("\xF5values\x02\x01\x00\x01"s), "0:8 expected version 1 of the binary form");
  EXPECT_EQ(testing::mistakeIn("\xF5values\x01\x00\x00\x01"s), "0:9 expected a width of counts from 1 to 4");
  EXPECT_EQ(testing::mistakeIn("\xF5values\x01\x05\x00\x01"s), "0:9 expected a width of counts from 1 to 4");
}

TEST(PropertyListBinaryReader, TakesTheSmallestWidthOnly) {
  for (unsigned width = 1; width <= 4; ++width) {
    const std::string expected = width == 1 ? "" : "9 expected the smallest width that suffices";
    EXPECT_EQ(mistakeIn(BinaryDocument({}, width).boolean(true)), expected);
    EXPECT_EQ(mistakeIn(BinaryDocument({"a"}, width).string(0)), expected);
    EXPECT_EQ(mistakeIn(BinaryDocument({}, width).data(std::string(255, 'x'))), expected);
  }
  EXPECT_EQ(mistakeIn(BinaryDocument({}, 2).data(std::string(256, 'x'))), "");
  EXPECT_EQ(mistakeIn(BinaryDocument({}, 3).data(std::string(256, 'x'))),
            "9 expected the smallest width that suffices");
  EXPECT_EQ(mistakeIn(BinaryDocument({std::string(256, 'x')}, 2).string(0)), "");
}

TEST(PropertyListBinaryReader, TakesKnownTagsOnly) {
  for (unsigned tag = 0; tag < 256; ++tag) {
    const std::string mistake = mistakeInValue(BinaryDocument().byte(tag));
    const unsigned subtype = (tag & 15) + 1;
    const bool isReal = subtype == 5 || subtype == 6 || subtype == 12 || subtype == 13 || subtype == 16;
    const unsigned realBytes = subtype == 5 || subtype == 12 ? 4 : 8;
    const bool isNumber = tag >= 0x10 && tag < 0x90 && (!isReal || tag >> 4 == realBytes);
    if (tag == 1 || tag == 2) {
      EXPECT_EQ(mistake, "") << tag;
    } else if ((tag >= 3 && tag <= 7) || isNumber) {
      EXPECT_EQ(mistake, "2 expected more bytes") << tag;
    } else {
      EXPECT_EQ(mistake, "1 expected a value") << tag;
    }
  }
}

TEST(PropertyListBinaryReader, TakesIntegersInAsFewBytesAsTheyNeedOnly) {
  for (unsigned bytes = 1; bytes <= 7; ++bytes) {
    const std::uint64_t highest = (std::uint64_t{1} << (8 * bytes - 1)) - 1;
    const std::uint64_t lowest = ~highest;
    for (const std::uint64_t value : {std::uint64_t{0}, ~std::uint64_t{0}, highest, lowest}) {
      EXPECT_EQ(mistakeInValue(BinaryDocument().number(4, bytes + 1, value)), "1 expected an integer in fewer bytes");
    }
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(4, bytes, highest)), "");
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(4, bytes, lowest)), "");
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(4, bytes + 1, highest + 1)), "");
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(4, bytes + 1, lowest - 1)), "");
  }
}

TEST(PropertyListBinaryReader, TakesIntegersThatTheirSubtypeHoldsOnly) {
  struct Range {
    unsigned subtype;
    std::int64_t lowest;
    std::int64_t highest;
  };
  for (const Range& range : {Range{1, -0x80, 0x7F}, Range{2, -0x8000, 0x7FFF}, Range{3, -0x8000'0000LL, 0x7FFF'FFFF},
                             Range{7, -0x80, 0xFF}, Range{8, -0x8000, 0x7FFF}, Range{9, -0x8000'0000LL, 0x7FFF'FFFF}}) {
    const auto mistake = [&range](std::int64_t value) {
      unsigned bytes = 1;
      while (value != value << (64 - 8 * bytes) >> (64 - 8 * bytes)) ++bytes;
      return mistakeInValue(BinaryDocument().number(range.subtype, bytes, static_cast<std::uint64_t>(value)));
    };
    EXPECT_EQ(mistake(range.lowest), "") << range.subtype;
    EXPECT_EQ(mistake(range.highest), "") << range.subtype;
    EXPECT_EQ(mistake(range.lowest - 1), "1 expected an integer that its subtype holds") << range.subtype;
    EXPECT_EQ(mistake(range.highest + 1), "1 expected an integer that its subtype holds") << range.subtype;
  }
}

TEST(PropertyListBinaryReader, TakesNoSignallingNaNOf32Bits) {
  for (const unsigned subtype : {5U, 12U}) {
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(subtype, 4, 0x7FC0'0001)), "");
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(subtype, 4, 0x7F80'0001)), "1 expected no signalling NaN");
    EXPECT_EQ(mistakeInValue(BinaryDocument().number(subtype, 4, 0xFFA0'0000)), "1 expected no signalling NaN");
  }
}

TEST(PropertyListBinaryReader, TakesKeysInAscendingOrderOnly) {
  const std::vector<std::string> texts = {"a", "b"};
  const auto pair = [&texts](unsigned first, unsigned second) {
    return mistakeIn(BinaryDocument(texts).dictionary(2).count(first).boolean(true).count(second).boolean(true));
  };
  // The table takes 7 bytes, the dictionary and its first entry 4.
  EXPECT_EQ(pair(0, 1), "");
  EXPECT_EQ(pair(1, 0), "21 expected a key behind the one before");
  EXPECT_EQ(pair(1, 1), "21 expected a key behind the one before");
  EXPECT_EQ(pair(0, 2), "21 expected the index of a string");
  EXPECT_EQ(pair(0, 255), "21 expected the index of a string");
}

TEST(PropertyListBinaryReader, TakesStringsOfTheTableOnlyAndAllOfThem) {
  EXPECT_EQ(mistakeIn(BinaryDocument({"a", "b"}).array(2).string(0).string(1)), "");
  EXPECT_EQ(mistakeIn(BinaryDocument({"a", "b"}).array(2).string(1).string(0)), "");
  EXPECT_EQ(mistakeIn(BinaryDocument({"a", "b"}).array(2).string(0).string(2)), "22 expected the index of a string");
  EXPECT_EQ(mistakeIn(BinaryDocument({"a", "b"}).array(2).string(0).string(0)), "15 expected a text that is used");
  EXPECT_EQ(mistakeIn(BinaryDocument({"a"}).boolean(true)), "12 expected a text that is used");
  EXPECT_EQ(mistakeInValue(BinaryDocument().string(0)), "2 expected the index of a string");
}

TEST(PropertyListBinaryReader, NestsToTheLimitAndNotOneDeeper) {
  const auto nested = [](std::size_t depth, bool inDictionaries) {
    BinaryDocument document = inDictionaries ? BinaryDocument({"k"}) : BinaryDocument();
    for (std::size_t level = 1; level < depth; ++level) {
      if (inDictionaries) {
        document.dictionary(1).count(0);
      } else {
        document.array(1);
      }
    }
    return mistakeIn(document.array(0));
  };
  EXPECT_EQ(nested(limits::propertyListNesting, false), "");
  EXPECT_EQ(nested(limits::propertyListNesting, true), "");
  EXPECT_EQ(nested(limits::propertyListNesting + 1, false), "1035 containers nested too deep");
  EXPECT_EQ(nested(limits::propertyListNesting + 1, true), "1550 containers nested too deep");
}

TEST(PropertyListBinaryReader, BelievesNoCountWithoutBytes) {
  constexpr const char* tooMany = "2 expected no more members than there are bytes for";
  EXPECT_EQ(mistakeInValue(BinaryDocument().array(1)), tooMany);
  EXPECT_EQ(mistakeInValue(BinaryDocument().array(255).boolean(true)), tooMany);
  EXPECT_EQ(mistakeInValue(BinaryDocument().dictionary(1).count(0)), tooMany);
  EXPECT_EQ(mistakeInValue(BinaryDocument().data("abc").byte(4).count(0)), "6 expected nothing more behind the value");
  EXPECT_EQ(mistakeInValue(BinaryDocument().byte(4).count(2).byte(0)), "2 expected data that ends within the bytes");
  for (const unsigned tag : {4U, 6U, 7U}) {
    EXPECT_NE(mistakeIn(BinaryDocument({}, 4).byte(tag).count(0xFFFF'FFFF)), "") << tag;
  }
}

// Each array claims as many members as there are bytes behind it, which its members would need for themselves.
TEST(PropertyListBinaryReader, BelievesNoBytesTwice) {
  BinaryDocument document({}, 2);
  document.array(2).array(2).array(2).boolean(true).boolean(true);
  // The last two bytes are for the second members of the two around.
  EXPECT_EQ(mistakeIn(document), "19 expected no more members than there are bytes for");
  constexpr std::size_t size = 60'000;
  BinaryDocument nested({}, 2);
  for (std::size_t level = 0; level < 500; ++level) nested.array(size - 3 * (level + 1));
  nested.text(std::string(size - 1500, '\1'));
  EXPECT_EQ(mistakeIn(nested), "16 expected no more members than there are bytes for");
}

#ifndef VANTO_TEST_SANITIZED
TEST(PropertyListBinaryReader, MakesAtMost20TimesTheBytesThatItIsGiven) {
  constexpr std::size_t count = 2'000'000;
  constexpr std::size_t room = std::size_t{4} << 20;
  // Of all values these grow most: two bytes each.
  for (const char* member : {"\x13\x01", "\x06\x00", "\x07\x00", "\x04\x00"}) {
    BinaryDocument document({}, 3);
    const std::string bytes(member, 2);
    const std::string padding = bytes[0] < 0x10 ? std::string(2, '\0') : "";
    document.array(count);
    for (std::size_t index = 0; index < count; ++index) document.text(bytes).text(padding);
    const std::size_t before = residentBytes();
    const Ref<PlistValue> value = readDocument(document.bytes());
    ASSERT_TRUE(value);
    EXPECT_LE(residentBytes(), before + 20 * document.bytes().size() + room);
  }
}
#endif

TEST(PropertyListBinaryReader, MakesNothingForClaims) {
  BinaryDocument document({}, 4);
  for (std::size_t level = 0; level < 500; ++level) document.array(0xFFFFFF);
  const std::size_t before = residentBytes();
  EXPECT_NE(mistakeIn(document), "");
  EXPECT_LE(residentBytes(), before + (std::size_t{1} << 20));
}

TEST(PropertyListBinaryReader, TakesUpTo64MiBAndNotOneByteMore) {
  constexpr std::size_t rest = 9 + 4 + 1 + 4;
  BinaryDocument largest({}, 4);
  largest.data(std::string(limits::propertyListFileBytes - rest, 'x'));
  EXPECT_EQ(mistakeIn(largest), "");
  BinaryDocument larger({}, 4);
  larger.data(std::string(limits::propertyListFileBytes - rest + 1, 'x'));
  EXPECT_EQ(mistakeIn(larger), std::to_string(limits::propertyListFileBytes + 1) + " expected at most 64 MiB");
}

TEST(PropertyListBinaryReader, LeavesEveryPartAliveOnItsOwn) {
  Ref<Object> part;
  {
    const Ref<PlistValue> whole = readDocument(sample());
    part = Ref<Object>::share(as<PlistArray>(as<PlistDictionary>(whole.get())->valueForKey("text"))->at(0));
  }
  EXPECT_EQ(as<PlistString>(part.get())->text(), "a\0é"s);
  EXPECT_EQ(part->referenceCount(), 1U);
}

TEST(PropertyListBinaryReader, SharesOneBlockAmongAllValues) {
  const Ref<PlistValue> whole = readDocument(sample());
  Object* part = as<PlistDictionary>(whole.get())->valueForKey("other");
  EXPECT_EQ(&ObjectBlock::of(*part), &ObjectBlock::of(*whole));
}

TEST(PropertyListBinaryReader, ReadsARootThatNeedsNoBlock) {
  const Ref<PlistValue> value = readDocument(BinaryDocument().boolean(true).bytes());
  EXPECT_EQ(value.get(), PlistBoolean::of(true));
}

TEST(PropertyListBinaryReader, RefusesWithoutAnErrorToFill) {
  EXPECT_FALSE(createPropertyListFromBinary(bytesOf("\xF5"), nullptr));
}

TEST(PropertyListBinaryReader, JudgesTheSamplesAsTheirNamesSay) {
  int accepted = 0;
  int refused = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VANTO_PROPERTY_LIST_BINARY_SAMPLES)) {
    const std::string name = entry.path().filename().string();
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    ASSERT_TRUE(name.starts_with("accept-") || name.starts_with("refuse-")) << name;
    ++(name.starts_with("accept-") ? accepted : refused);
    PropertyListError error;
    EXPECT_EQ(static_cast<bool>(createPropertyListFromBinary(bytesOf(bytes), &error)), name.starts_with("accept-"))
        << name << ": byte " << error.column << " " << error.message;
    expectStrict(bytes);
  }
  EXPECT_GE(accepted, 20);
  EXPECT_GE(refused, 40);
}

}  // namespace
}  // namespace vanto
