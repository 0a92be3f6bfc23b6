// SPDX-License-Identifier: Apache-2.0
#include "value/EntryTable.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::EntryTable;
using vanto::Object;

struct Destroyer {
  void operator()(EntryTable* table) const { EntryTable::destroy(table); }
};
using Table = std::unique_ptr<EntryTable, Destroyer>;

std::string keyText(int number) {
  char text[16];
  std::snprintf(text, sizeof text, "%06d", number);
  return text;
}

/// Checks that the table holds exactly the entries of `expected`, in ascending order and in groups of some size.
void expectHolds(const EntryTable& table, const std::map<std::string, Object*>& expected) {
  auto next = expected.begin();
  for (std::size_t group = 0; group < table.groupCount(); ++group) {
    ASSERT_GT(table.entryCount(group), 0u);
    ASSERT_LE(table.entryCount(group), 128u);
    for (std::size_t index = 0; index < table.entryCount(group); ++index, ++next) {
      ASSERT_NE(next, expected.end());
      ASSERT_EQ(table.entry(group, index).key->text(), next->first);
      ASSERT_EQ(table.entry(group, index).value, next->second);
    }
  }
  EXPECT_EQ(next, expected.end());
  for (const auto& [key, value] : expected) ASSERT_EQ(table.find(key), value);
}

void expectSetsInOrder(const std::vector<int>& numbers) {
  const Table table(EntryTable::create());
  std::map<std::string, Object*> expected;
  for (const int each : numbers) {
    PlistNumber* value = number(each);
    EXPECT_EQ(table->find(keyText(each)), nullptr);
    EXPECT_TRUE(table->set(*string(keyText(each)), *value));
    expected[keyText(each)] = value;
  }
  expectHolds(*table, expected);
  EXPECT_EQ(table->find("0"), nullptr);
  EXPECT_EQ(table->find("0000000"), nullptr);
  EXPECT_EQ(table->find("x"), nullptr);
}

std::vector<int> ascending(int count) {
  std::vector<int> numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

TEST(EntryTable, StartsEmpty) {
  const Table table(EntryTable::create());
  EXPECT_EQ(table->groupCount(), 0u);
  EXPECT_EQ(table->find("a"), nullptr);
}

TEST(EntryTable, TakesKeysInAscendingOrder) {
  for (const int count : {1, 4, 5, 127, 128, 129, 255, 256, 257, 3000}) expectSetsInOrder(ascending(count));
}

TEST(EntryTable, TakesKeysInDescendingOrder) {
  for (const int count : {2, 5, 128, 129, 130, 257, 3000}) {
    std::vector<int> numbers = ascending(count);
    std::reverse(numbers.begin(), numbers.end());
    expectSetsInOrder(numbers);
  }
}

TEST(EntryTable, TakesKeysInAnyOrder) {
  std::mt19937 random(1);
  for (int round = 0; round < 5; ++round) {
    std::vector<int> numbers = ascending(3000);
    std::shuffle(numbers.begin(), numbers.end(), random);
    expectSetsInOrder(numbers);
  }
}

TEST(EntryTable, TakesKeysThatFillEachGroupInTurn) {
  // Ascending by hundreds, then everything between them.
  std::vector<int> numbers;
  for (int first = 0; first < 100; ++first) {
    for (int each = first; each < 20000; each += 100) numbers.push_back(each);
  }
  expectSetsInOrder(numbers);
}

TEST(EntryTable, FillsItsGroupsWhenKeysAscend) {
  const Table table(EntryTable::create());
  for (const int each : ascending(12800)) table->append(*string(keyText(each)), *number(each));
  EXPECT_LE(table->groupCount(), 12800u / 127 + 1);
}

TEST(EntryTable, ReplacesValues) {
  const Table table(EntryTable::create());
  std::map<std::string, Object*> expected;
  for (int round = 0; round < 2; ++round) {
    for (const int each : ascending(500)) {
      PlistNumber* value = number(each);
      EXPECT_EQ(table->set(*string(keyText(each)), *value), round == 0);
      expected[keyText(each)] = value;
    }
  }
  expectHolds(*table, expected);
}

TEST(EntryTable, AppendsLikeItSets) {
  const Table table(EntryTable::create());
  std::map<std::string, Object*> expected;
  for (const int each : ascending(1000)) {
    PlistNumber* value = number(each);
    table->append(*string(keyText(each)), *value);
    expected[keyText(each)] = value;
  }
  expectHolds(*table, expected);
}

}  // namespace
