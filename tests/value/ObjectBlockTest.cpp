// SPDX-License-Identifier: Apache-2.0
#include "value/ObjectBlock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "value/LiveObjects.h"
#include "value/Memory.h"

namespace vanto {
namespace {

PlistString& makeString(ObjectBlock& block, std::string_view text) {
  char* place = nullptr;
  PlistString* string = block.makeString(text.size(), place);
  std::memcpy(place, text.data(), text.size());
  place[text.size()] = '\0';
  return *string;
}

TEST(ObjectBlock, StartsWithOneReference) {
  ObjectBlock& block = ObjectBlock::create(100);
  EXPECT_EQ(block.referenceCount(), 1U);
  block.release();
}

TEST(ObjectBlock, CountsReferencesToItsValuesTogether) {
  ObjectBlock& block = ObjectBlock::create(1000);
  const PlistString& first = makeString(block, "first");
  const PlistNumber& second = *block.makeNumber(std::int64_t{2});
  first.retain();
  second.retain();
  EXPECT_EQ(block.referenceCount(), 3U);
  EXPECT_EQ(first.referenceCount(), 3U);
  second.release();
  block.release();
  EXPECT_EQ(first.referenceCount(), 1U);
  EXPECT_EQ(first.text(), "first");
  first.release();
}

TEST(ObjectBlock, IsFoundFromEveryValueInEveryChunk) {
  ObjectBlock& block = ObjectBlock::create(100);
  for (int count = 0; count < 100'000; ++count) {
    const PlistNumber* number = block.makeNumber(std::int64_t{count});
    ASSERT_EQ(&ObjectBlock::of(*number), &block);
    ASSERT_EQ(number->int64Value(), count);
  }
  block.release();
}

TEST(ObjectBlock, MakesStringsOverTextThatIsThereAlready) {
  ObjectBlock& block = ObjectBlock::create(100);
  auto* text = static_cast<char*>(block.allocate(20'000));
  std::memcpy(text, "first\0second", 13);
  const PlistString* first = block.makeString(std::string_view(text, 5));
  const PlistString* second = block.makeString(std::string_view(text + 6, 6));
  EXPECT_EQ(first->text(), "first");
  EXPECT_EQ(second->text(), "second");
  EXPECT_EQ(second->utf8(), text + 6);
  EXPECT_EQ(&ObjectBlock::of(*second), &block);
  block.release();
}

TEST(ObjectBlock, MakesNumbersOfEverySubtype) {
  ObjectBlock& block = ObjectBlock::create(100);
  const PlistNumber* integer = block.makeNumber(std::int64_t{-3}, KorNumberShortType);
  EXPECT_EQ(integer->subtype(), KorNumberShortType);
  EXPECT_EQ(integer->int64Value(), -3);
  const PlistNumber* real = block.makeNumber(0.5, KorNumberFloat32Type);
  EXPECT_EQ(real->subtype(), KorNumberFloat32Type);
  EXPECT_EQ(real->doubleValue(), 0.5);
  block.release();
}

TEST(ObjectBlock, MakesEveryKindOfValue) {
  ObjectBlock& block = ObjectBlock::create(100);
  std::uint8_t* bytes = nullptr;
  PlistData* data = block.makeData(3, bytes);
  std::memcpy(bytes, "abc", 3);
  auto** elements = static_cast<Object**>(block.allocate(sizeof(Object*)));
  elements[0] = data;
  const PlistArray* array = block.makeArray(elements, 1);
  auto* entries = static_cast<PlistDictionary::Entry*>(block.allocate(sizeof(PlistDictionary::Entry)));
  entries[0] = {&makeString(block, "key"), data};
  const PlistDictionary* dictionary = block.makeDictionary(entries, 1);
  EXPECT_EQ(block.makeNumber(0.5)->subtype(), KorNumberFloat64Type);
  EXPECT_EQ(block.makeNumber(std::int64_t{1})->subtype(), KorNumberSInt64Type);
  EXPECT_EQ(block.makeDate(7)->secondsSince1970(), 7);
  EXPECT_EQ(array->at(0), data);
  EXPECT_EQ(dictionary->valueForKey("key"), data);
  EXPECT_EQ(data->bytes()[2], 'c');
  block.release();
}

TEST(ObjectBlock, KeepsContentsOfAnySizeApart) {
  ObjectBlock& block = ObjectBlock::create(64);
  std::vector<const PlistString*> strings;
  for (std::size_t length = 0; length < 20'000; length += 1 + length / 7) {
    strings.push_back(&makeString(block, std::string(length, static_cast<char>('a' + length % 26))));
    // What is copied in whole steps may spill this far.
    const std::string_view text = strings.back()->text();
    std::memset(const_cast<char*>(text.data()) + text.size() + 1, 'X', ObjectBlock::slack - 1);
  }
  for (const PlistString* string : strings) {
    EXPECT_EQ(string->text(), std::string(string->length(), static_cast<char>('a' + string->length() % 26)));
  }
  block.release();
}

TEST(ObjectBlock, GivesLargeContentsMemoryOfTheirOwn) {
  ObjectBlock& block = ObjectBlock::create(64);
  const std::string text(std::size_t{5} << 20, 'x');
  const PlistString& large = makeString(block, text);
  const PlistString& small = makeString(block, "small");
  EXPECT_EQ(large.text(), text);
  EXPECT_EQ(small.text(), "small");
  EXPECT_EQ(&ObjectBlock::of(large), &block);
  block.release();
}

TEST(ObjectBlock, TakesOverMemoryAsData) {
  void* memory = Memory::allocate(ObjectBlock::dataHeadroom + 5);
  std::memcpy(static_cast<char*>(memory) + ObjectBlock::dataHeadroom, "bytes", 5);
  const Ref<PlistData> data = Ref<PlistData>::adopt(&ObjectBlock::createData(memory, 5));
  EXPECT_EQ(data->referenceCount(), 1U);
  EXPECT_TRUE(data->isEqual(PlistData::create({reinterpret_cast<const std::uint8_t*>("bytes"), 5}).get()));
}

TEST(ObjectBlock, CountsAsOneLiveObject) {
#ifdef VANTO_COUNT_OBJECTS
  const std::int64_t expected = 1;
#else
  const std::int64_t expected = 0;
#endif
  const std::int64_t before = liveObjectCount();
  ObjectBlock& block = ObjectBlock::create(100);
  makeString(block, "a");
  makeString(block, "b");
  EXPECT_EQ(liveObjectCount() - before, expected);
  block.release();
  EXPECT_EQ(liveObjectCount(), before);
}

TEST(ObjectBlock, IsFreedByWhicheverThreadReleasesLast) {
  ObjectBlock& block = ObjectBlock::create(100);
  const PlistString& string = makeString(block, "shared");
  std::vector<std::thread> threads;
  for (int index = 0; index < 4; ++index) {
    string.retain();
    threads.emplace_back([&string] {
      for (int round = 0; round < 1000; ++round) {
        string.retain();
        EXPECT_EQ(string.length(), 6U);
        string.release();
      }
      string.release();
    });
  }
  block.release();
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace vanto
