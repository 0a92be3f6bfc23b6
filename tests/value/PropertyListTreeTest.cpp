// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "value/limits.h"

namespace vanto {
namespace {

// Keys are read with memory behind them, as in a document.
PlistString* key(PropertyListTree& tree, const std::string& text) {
  const std::string document = text + "</key></dict></plist>";
  return tree.makeKey({document.data(), text.size()}, document.data() + document.size());
}

TEST(PropertyListTree, HandsOutItsRoot) {
  Ref<PlistValue> root;
  {
    PropertyListTree tree(100);
    const std::string_view text = "text";
    tree.add({nullptr, nullptr}, tree.makeString(text, text.data() + text.size()));
    root = tree.root();
  }
  EXPECT_EQ(as<PlistString>(root.get())->text(), "text");
  EXPECT_EQ(root->referenceCount(), 1U);
}

TEST(PropertyListTree, SharesEqualKeys) {
  PropertyListTree tree(100);
  for (const char* text : {"", "a", "Identifier", "a key of more than sixteen bytes"}) {
    EXPECT_EQ(key(tree, text), key(tree, text));
    EXPECT_EQ(key(tree, text)->text(), text);
  }
  EXPECT_NE(key(tree, "a"), key(tree, "b"));
}

TEST(PropertyListTree, ForgetsKeysRatherThanMixThem) {
  PropertyListTree tree(100);
  for (int round = 0; round < 2; ++round) {
    for (int index = 0; index < 5000; ++index) {
      const std::string text = "key " + std::to_string(index);
      ASSERT_EQ(key(tree, text)->text(), text);
    }
  }
}

TEST(PropertyListTree, SortsDictionaries) {
  std::vector<std::string> texts;
  for (int index = 0; index < 1000; ++index) texts.push_back(std::to_string(index));
  std::shuffle(texts.begin(), texts.end(), std::mt19937(5));
  PropertyListTree tree(100);
  ASSERT_TRUE(tree.open(true, {nullptr, nullptr}));
  for (const std::string& text : texts) {
    tree.add({key(tree, text), text.data()}, tree.block().makeNumber(std::int64_t{std::stoi(text)}));
  }
  ASSERT_EQ(tree.close(), nullptr);
  const Ref<PlistValue> root = tree.root();
  const PlistDictionary* dictionary = as<PlistDictionary>(root.get());
  ASSERT_EQ(dictionary->count(), texts.size());
  for (const std::string& text : texts) {
    ASSERT_EQ(as<PlistNumber>(dictionary->valueForKey(text))->int64Value(), std::stoi(text));
  }
}

TEST(PropertyListTree, TellsTheFirstPlaceOfASecondKey) {
  const std::string places = "abacb";
  PropertyListTree tree(100);
  ASSERT_TRUE(tree.open(true, {nullptr, nullptr}));
  for (const char& place : places) tree.add({key(tree, {place}), &place}, PlistBoolean::of(true));
  EXPECT_EQ(tree.close(), places.data() + 2);
}

TEST(PropertyListTree, OpensAsManyContainersAsTheLimitSays) {
  PropertyListTree tree(100);
  for (std::size_t depth = 0; depth < limits::propertyListNesting; ++depth) {
    ASSERT_TRUE(tree.open(depth % 2 == 0, {depth == 0 ? nullptr : key(tree, "k"), nullptr}));
  }
  EXPECT_FALSE(tree.open(false, {nullptr, nullptr}));
}

TEST(PropertyListTree, GivesEmptyContainersNoMemory) {
  PropertyListTree tree(100);
  for (const bool isDictionary : {false, true}) {
    ASSERT_TRUE(tree.open(isDictionary, {nullptr, nullptr}));
    EXPECT_EQ(tree.isInDictionary(), isDictionary);
    ASSERT_EQ(tree.close(), nullptr);
    EXPECT_FALSE(tree.isOpen());
    EXPECT_EQ(tree.root()->referenceCount(), UINT32_MAX);
  }
}

}  // namespace
}  // namespace vanto
