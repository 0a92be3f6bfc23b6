// SPDX-License-Identifier: Apache-2.0
#include "ipc/DictionaryObject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/ScalarObject.h"

using vanto::DictionaryObject;
using vanto::Int64Object;
using vanto::Ref;

namespace {

std::int64_t numberUnder(const DictionaryObject& dictionary, std::string_view key) {
  const auto* number = vanto::ofKind<Int64Object>(dictionary.valueForKey(key));
  return number == nullptr ? -1 : number->value();
}

/// Compares with a map that was given the same entries.
void expectEntries(const DictionaryObject& dictionary, const std::map<std::string, std::int64_t>& expected) {
  ASSERT_EQ(dictionary.count(), expected.size());
  DictionaryObject::Cursor cursor(dictionary);
  for (const auto& [key, number] : expected) {
    const DictionaryObject::Entry* entry = cursor.next();
    ASSERT_NE(entry, nullptr);
    ASSERT_EQ(entry->key.text(), key);
    ASSERT_STREQ(entry->key.terminatedText(), key.c_str());
    ASSERT_EQ(static_cast<const Int64Object*>(entry->value)->value(), number);
    ASSERT_EQ(numberUnder(dictionary, key), number);
  }
  EXPECT_EQ(cursor.next(), nullptr);
  EXPECT_EQ(cursor.next(), nullptr);
}

std::vector<std::string> manyKeys(std::size_t count) {
  std::vector<std::string> keys;
  for (std::size_t number = 0; number < count; ++number) {
    std::string digits = std::to_string(number);
    keys.push_back(std::string("key of a few letters ").substr(number % 21) + std::string(6 - digits.size(), '0') +
                   digits);
  }
  return keys;
}

void insertAll(DictionaryObject& dictionary, const std::vector<std::string>& keys,
               std::map<std::string, std::int64_t>& expected) {
  std::int64_t number = 0;
  for (const std::string& key : keys) {
    dictionary.set(key, Int64Object::create(number));
    expected[key] = number++;
  }
}

}  // namespace

using DictionaryObjectTest = vanto::test::BalancedTest;
using DictionaryObjectDeathTest = vanto::test::BalancedTest;

TEST_F(DictionaryObjectTest, IsEmptyAtFirst) {
  for (const std::size_t capacity : {0U, 1U, 1000U}) {
    const Ref<DictionaryObject> dictionary = DictionaryObject::create(capacity);
    expectEntries(*dictionary, {});
    EXPECT_EQ(dictionary->valueForKey(""), nullptr);
    EXPECT_EQ(dictionary->valueForKey("key"), nullptr);
  }
}

TEST_F(DictionaryObjectTest, KeepsKeysOfEveryLengthAroundWhatFitsInside) {
  const Ref<DictionaryObject> dictionary = DictionaryObject::create(0);
  std::map<std::string, std::int64_t> expected;
  std::vector<std::string> keys;
  for (std::size_t length = 0; length < 40; ++length) keys.emplace_back(length, 'k');
  insertAll(*dictionary, keys, expected);
  expectEntries(*dictionary, expected);
}

TEST_F(DictionaryObjectTest, OrdersKeysByTheirBytes) {
  const Ref<DictionaryObject> dictionary = DictionaryObject::create(0);
  std::map<std::string, std::int64_t> expected;
  insertAll(*dictionary, {"\u00e4", "z", "a", "", "ab", "\x7f", "\U0001f600", "a long key beyond the others", "a long"},
            expected);
  expectEntries(*dictionary, expected);
}

TEST_F(DictionaryObjectTest, OrdersKeysLikeTextWhateverTheirLengthsAndBytes) {
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    const Ref<DictionaryObject> dictionary = DictionaryObject::create(0);
    std::map<std::string, std::int64_t> expected;
    std::vector<std::string> keys;
    for (int number = 0; number < 20; ++number) {
      std::string key;
      // Few letters, so that many keys begin alike.
      while (random() % 14 != 0) key += std::array{"a", "b", "\x01", "\x7f", "\u0080", "aaaaaaa"}[random() % 6];
      keys.push_back(key);
    }
    insertAll(*dictionary, keys, expected);
    expectEntries(*dictionary, expected);
  }
}

TEST_F(DictionaryObjectTest, HoldsAHundredThousandKeysInAnyOrder) {
  std::vector<std::string> keys = manyKeys(100'000);
  std::mt19937 random(7);
  std::vector<std::vector<std::string>> orders(3, keys);
  std::sort(orders[0].begin(), orders[0].end());
  std::sort(orders[1].rbegin(), orders[1].rend());
  std::shuffle(orders[2].begin(), orders[2].end(), random);
  for (const std::vector<std::string>& order : orders) {
    const Ref<DictionaryObject> dictionary = DictionaryObject::create(0);
    std::map<std::string, std::int64_t> expected;
    insertAll(*dictionary, order, expected);
    expectEntries(*dictionary, expected);
    EXPECT_EQ(dictionary->valueForKey("key"), nullptr);
    EXPECT_EQ(dictionary->valueForKey("zzz"), nullptr);
  }
}

TEST_F(DictionaryObjectTest, GrowsBeyondTheMemoryItWasMadeWith) {
  for (const std::size_t capacity : {1U, 5U, 128U, 300U}) {
    const Ref<DictionaryObject> dictionary = DictionaryObject::create(capacity);
    std::map<std::string, std::int64_t> expected;
    std::vector<std::string> keys = manyKeys(1000);
    std::shuffle(keys.begin(), keys.end(), std::mt19937(11));
    insertAll(*dictionary, keys, expected);
    expectEntries(*dictionary, expected);
  }
}

TEST_F(DictionaryObjectTest, SettingAgainReplacesTheValue) {
  const Ref<DictionaryObject> dictionary = DictionaryObject::create(2);
  const Ref<Int64Object> first = Int64Object::create(1);
  dictionary->set("a key that does not fit inside", first);
  EXPECT_EQ(first->referenceCount(), 2U);
  dictionary->set("a key that does not fit inside", Int64Object::create(2));
  EXPECT_EQ(first->referenceCount(), 1U);
  expectEntries(*dictionary, {{"a key that does not fit inside", 2}});
}

TEST_F(DictionaryObjectTest, AppendsAscendingKeysOnly) {
  const Ref<DictionaryObject> dictionary = DictionaryObject::create(3);
  EXPECT_TRUE(dictionary->append("b", Int64Object::create(1)));
  EXPECT_FALSE(dictionary->append("b", Int64Object::create(2)));
  EXPECT_FALSE(dictionary->append("a", Int64Object::create(3)));
  EXPECT_FALSE(dictionary->append("", Int64Object::create(4)));
  EXPECT_TRUE(dictionary->append("ba", Int64Object::create(5)));
  EXPECT_TRUE(dictionary->append("\u00e9", Int64Object::create(6)));
  expectEntries(*dictionary, {{"b", 1}, {"ba", 5}, {"\u00e9", 6}});
}

TEST_F(DictionaryObjectTest, AppendsAcrossChunks) {
  constexpr std::size_t count = 3 * DictionaryObject::chunkEntries + 1;
  const Ref<DictionaryObject> dictionary = DictionaryObject::create(count);
  std::map<std::string, std::int64_t> expected;
  for (std::size_t number = 0; number < count; ++number) {
    const std::string key = std::to_string(1000 + number);
    ASSERT_TRUE(dictionary->append(key, Int64Object::create(static_cast<std::int64_t>(number))));
    expected[key] = static_cast<std::int64_t>(number);
  }
  expectEntries(*dictionary, expected);
}

TEST_F(DictionaryObjectTest, NestedDictionariesEndWithoutUsingUpTheStack) {
  Ref<vanto_object> inner = Int64Object::create(1);
  for (int level = 0; level < 300'000; ++level) {
    Ref<DictionaryObject> outer = DictionaryObject::create(1);
    outer->set("inner", std::move(inner));
    inner = std::move(outer);
  }
  EXPECT_EQ(inner->kind(), VANTO_KIND_DICTIONARY);
  inner = nullptr;
}

TEST_F(DictionaryObjectDeathTest, SettingItselfIsABrokenInvariant) {
  EXPECT_EXIT(
      {
        const Ref<DictionaryObject> dictionary = DictionaryObject::create(0);
        dictionary->set("key", dictionary);
      },
      testing::KilledBySignal(SIGABRT), "");
}
