// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistDictionary.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <VantoService/PlistArray.h>

#include "support/Values.h"

namespace {

using namespace std::string_view_literals;
using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;

using Entry = PlistDictionary::Entry;

std::map<std::string, Object*> walked(const PlistDictionary& dictionary) {
  std::map<std::string, Object*> found;
  PlistDictionary::Cursor cursor(dictionary);
  for (Entry entry{}; cursor.next(entry);) found.emplace(entry.key->text(), entry.value);
  return found;
}

TEST(PlistDictionary, FindsValuesByKey) {
  PlistNumber* one = number(1);
  PlistNumber* two = number(2);
  const PlistDictionary* values = dictionary({{string("b"), two}, {string("a"), one}});
  EXPECT_EQ(values->count(), 2u);
  EXPECT_EQ(values->valueForKey("a"), one);
  EXPECT_EQ(values->valueForKey(string("b")), two);
  EXPECT_EQ(values->valueForKey(mutableString("b")), two);
}

TEST(PlistDictionary, HasNoValueForOtherKeys) {
  const PlistDictionary* values = dictionary({{string("b"), number(1)}, {string("a\0c"sv), number(2)}});
  for (const std::string_view key : {"a"sv, "B"sv, "bb"sv, ""sv, "c"sv, "a\0"sv}) {
    EXPECT_EQ(values->valueForKey(key), nullptr);
  }
  EXPECT_NE(values->valueForKey("a\0c"sv), nullptr);
  EXPECT_EQ(values->valueForKey(static_cast<const PlistString*>(nullptr)), nullptr);
}

TEST(PlistDictionary, TakesTheLastOfEntriesWithEqualKeys) {
  const PlistDictionary* values = dictionary(
      {{string("a"), number(1)}, {string("b"), number(2)}, {string("a"), number(3)}, {string("a"), number(4)}});
  EXPECT_EQ(values->count(), 2u);
  EXPECT_TRUE(values->valueForKey("a")->isEqual(number(4)));
}

TEST(PlistDictionary, HoldsOneReferenceToEachKeyAndValue) {
  const Ref<PlistString> key = PlistString::create("k");
  const Ref<PlistString> value = PlistString::create("v");
  {
    const std::vector<Entry> entries{{key.get(), value.get()}, {key.get(), value.get()}};
    const Ref<PlistDictionary> values = PlistDictionary::create(entries);
    EXPECT_EQ(key->referenceCount(), 2u);
    EXPECT_EQ(value->referenceCount(), 2u);
  }
  EXPECT_EQ(key->referenceCount(), 1u);
  EXPECT_EQ(value->referenceCount(), 1u);
}

TEST(PlistDictionary, CopiesKeysThatCouldChange) {
  PlistMutableString* key = mutableString("k");
  const PlistDictionary* values = dictionary({{key, number(1)}});
  key->append("x");
  EXPECT_NE(values->valueForKey("k"), nullptr);
}

TEST(PlistDictionary, ThatIsEmptyIsAConstant) {
  EXPECT_EQ(PlistDictionary::create().get(), PlistDictionary::create().get());
  EXPECT_EQ(PlistDictionary::create()->count(), 0u);
  EXPECT_EQ(PlistDictionary::create()->valueForKey("a"), nullptr);
  EXPECT_EQ(PlistDictionary::create()->allKeys()->count(), 0u);
  EXPECT_TRUE(walked(*PlistDictionary::create()).empty());
}

TEST(PlistDictionary, GivesAllKeysInAscendingOrder) {
  for (const PlistDictionary* values :
       {dictionary({{string("b"), number(1)}, {string("B"), number(2)}, {string("a"), number(3)}}),
        static_cast<PlistDictionary*>(
            mutableDictionary({{string("b"), number(1)}, {string("B"), number(2)}, {string("a"), number(3)}}))}) {
    EXPECT_TRUE(values->allKeys()->isEqual(array({string("B"), string("a"), string("b")})));
  }
}

TEST(PlistDictionary, EnumeratesEachEntryOnce) {
  std::vector<Entry> entries;
  for (int index = 0; index < 300; ++index) entries.push_back({string(std::to_string(index)), number(index)});
  for (const PlistDictionary* values :
       {dictionary(entries), static_cast<PlistDictionary*>(mutableDictionary(entries))}) {
    const std::map<std::string, Object*> found = walked(*values);
    EXPECT_EQ(found.size(), entries.size());
    for (const Entry& entry : entries) EXPECT_EQ(found.at(std::string(entry.key->text())), entry.value);
  }
}

TEST(PlistDictionary, LeavesTheEntryAloneAtTheEndOfAWalk) {
  const PlistDictionary* values = dictionary({});
  PlistDictionary::Cursor cursor(*values);
  Entry entry{string("k"), number(1)};
  const Entry before = entry;
  EXPECT_FALSE(cursor.next(entry));
  EXPECT_EQ(entry.key, before.key);
  EXPECT_EQ(entry.value, before.value);
}

TEST(PlistDictionary, IsMadeOfAGivenClass) {
  const std::vector<Entry> entries{{string("a"), number(1)}, {string("b"), number(2)}};
  for (const PlistDictionary* source :
       {dictionary(entries), static_cast<PlistDictionary*>(mutableDictionary(entries)), dictionary({})}) {
    const Ref<PlistDictionary> plain = PlistDictionary::createOfClass(PlistDictionary::classDescriptor(), *source);
    EXPECT_EQ(&plain->runtimeClass(), &PlistDictionary::classDescriptor());
    EXPECT_TRUE(plain->isEqual(source));
    const Ref<PlistDictionary> copy =
        PlistDictionary::createOfClass(PlistMutableDictionary::classDescriptor(), *source);
    EXPECT_EQ(&copy->runtimeClass(), &PlistMutableDictionary::classDescriptor());
    EXPECT_NE(copy.get(), source);
    EXPECT_EQ(copy->count(), source->count());
    EXPECT_TRUE(copy->isEqual(source));
  }
}

TEST(PlistDictionary, MadeOfAMutableOneDoesNotChangeWithIt) {
  PlistMutableDictionary* source = mutableDictionary({{string("a"), number(1)}});
  const Ref<PlistDictionary> plain = PlistDictionary::createOfClass(PlistDictionary::classDescriptor(), *source);
  const Ref<PlistDictionary> copy = PlistDictionary::createOfClass(PlistMutableDictionary::classDescriptor(), *source);
  source->setValueForKey(number(2), string("b"));
  EXPECT_EQ(plain->count(), 1u);
  EXPECT_EQ(copy->count(), 1u);
}

TEST(PlistDictionary, DescribesItselfOnOneLine) {
  EXPECT_EQ(description(*dictionary({{string("b"), number(2)}, {string("a"), string("x")}})), "{a = x, b = 2}");
}

TEST(PlistDictionaryDeathTest, RefusesEntriesWithoutKeyOrValue) {
  const char* const report = "function PlistDictionary create, file";
  EXPECT_DEATH(dictionary({{nullptr, number(1)}}), report);
  EXPECT_DEATH(dictionary({{string("a"), nullptr}}), report);
}

TEST(PlistDictionaryDeathTest, RefusesAClassThatIsNoDictionarys) {
  EXPECT_DEATH(static_cast<void>(PlistDictionary::createOfClass(PlistArray::classDescriptor(), *dictionary({}))),
               "function PlistDictionary createOfClass");
}

}  // namespace
