// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <VantoService/PlistDictionary.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Ref;

TEST(PlistMutableDictionary, SetsAndReplacesValues) {
  const Ref<PlistMutableDictionary> values = PlistMutableDictionary::create();
  EXPECT_EQ(values->count(), 0u);
  EXPECT_EQ(values->valueForKey("a"), nullptr);
  values->setValueForKey(number(1), string("a"));
  values->setValueForKey(number(2), string("b"));
  values->setValueForKey(number(3), string("a"));
  EXPECT_EQ(values->count(), 2u);
  EXPECT_TRUE(values->valueForKey("a")->isEqual(number(3)));
  EXPECT_TRUE(values->valueForKey("b")->isEqual(number(2)));
  EXPECT_EQ(values->valueForKey("c"), nullptr);
}

TEST(PlistMutableDictionary, HoldsOneReferenceToEachKeyAndValue) {
  const Ref<PlistString> key = PlistString::create("k");
  const Ref<PlistString> value = PlistString::create("v");
  const Ref<PlistString> other = PlistString::create("w");
  {
    const Ref<PlistMutableDictionary> values = PlistMutableDictionary::create();
    values->setValueForKey(value.get(), key.get());
    EXPECT_EQ(key->referenceCount(), 2u);
    EXPECT_EQ(value->referenceCount(), 2u);
    values->setValueForKey(value.get(), key.get());
    EXPECT_EQ(value->referenceCount(), 2u);
    values->setValueForKey(other.get(), key.get());
    EXPECT_EQ(value->referenceCount(), 1u);
    EXPECT_EQ(other->referenceCount(), 2u);
  }
  EXPECT_EQ(key->referenceCount(), 1u);
  EXPECT_EQ(other->referenceCount(), 1u);
}

TEST(PlistMutableDictionary, CopiesKeysThatCouldChange) {
  PlistMutableString* key = mutableString("k");
  PlistMutableDictionary* values = mutableDictionary({{key, number(1)}});
  key->append("x");
  EXPECT_NE(values->valueForKey("k"), nullptr);
  EXPECT_EQ(values->valueForKey("kx"), nullptr);
}

TEST(PlistMutableDictionary, IsOfTheKindOfDictionaries) {
  EXPECT_TRUE(mutableDictionary({{string("a"), number(1)}})->isEqual(dictionary({{string("a"), number(1)}})));
}

TEST(PlistMutableDictionaryDeathTest, RefusesNull) {
  EXPECT_DEATH(mutableDictionary({})->setValueForKey(nullptr, string("a")),
               "function PlistMutableDictionary setValueForKey, file PlistMutableDictionary.cpp");
  EXPECT_DEATH(mutableDictionary({})->setValueForKey(number(1), nullptr),
               "function PlistMutableDictionary setValueForKey");
}

void changeWhileWalking(const char* key) {
  PlistMutableDictionary* values = mutableDictionary({{string("a"), number(1)}, {string("b"), number(2)}});
  PlistDictionary::Cursor cursor(*values);
  PlistDictionary::Entry entry{};
  static_cast<void>(cursor.next(entry));
  values->setValueForKey(number(3), string(key));
  static_cast<void>(cursor.next(entry));
}

TEST(PlistMutableDictionaryDeathTest, RefusesAChangeDuringEnumeration) {
  const char* const report = "function PlistMutableDictionary enumeration, file";
  EXPECT_DEATH(changeWhileWalking("c"), report);
  EXPECT_DEATH(changeWhileWalking("a"), report);
}

}  // namespace
