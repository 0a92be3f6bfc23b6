// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistArray.h>

#include <vector>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;

TEST(PlistArray, HoldsItsElementsInOrder) {
  PlistString* first = string("a");
  PlistNumber* second = number(2);
  const PlistArray* values = array({first, second, first});
  EXPECT_EQ(values->count(), 3u);
  EXPECT_EQ(values->at(0), first);
  EXPECT_EQ(values->at(1), second);
  EXPECT_EQ(values->at(2), first);
  EXPECT_EQ(values->elements().size(), 3u);
}

TEST(PlistArray, HoldsOneReferenceToEachElement) {
  const Ref<PlistString> element = PlistString::create("a");
  {
    const std::vector<Object*> elements{element.get(), element.get()};
    const Ref<PlistArray> values = PlistArray::create(elements);
    EXPECT_EQ(element->referenceCount(), 3u);
  }
  EXPECT_EQ(element->referenceCount(), 1u);
}

TEST(PlistArray, MayHaveHoles) {
  const PlistArray* values = array({nullptr, string("a"), nullptr});
  EXPECT_EQ(values->count(), 3u);
  EXPECT_EQ(values->at(0), nullptr);
  EXPECT_EQ(values->at(2), nullptr);
}

TEST(PlistArray, ThatIsEmptyIsAConstant) {
  EXPECT_EQ(PlistArray::create().get(), PlistArray::create().get());
  EXPECT_EQ(PlistArray::create()->referenceCount(), UINT32_MAX);
  EXPECT_EQ(PlistArray::create()->count(), 0u);
  EXPECT_TRUE(PlistArray::create()->elements().empty());
}

TEST(PlistArray, EnumeratesItsElementsInOrder) {
  const PlistArray* values = array({number(1), nullptr, number(3)});
  std::vector<Object*> found;
  PlistArray::Cursor cursor(*values);
  Object* element = nullptr;
  while (cursor.next(element)) found.push_back(element);
  EXPECT_EQ(found, std::vector<Object*>(values->elements().begin(), values->elements().end()));
  Object* untouched = number(7);
  Object* const before = untouched;
  EXPECT_FALSE(cursor.next(untouched));
  EXPECT_EQ(untouched, before);
}

TEST(PlistArray, IsMadeOfAGivenClass) {
  const PlistArray* source = array({number(1), nullptr});
  const PlistMutableArray* changeable = mutableArray({number(1)});
  for (const PlistArray* each : std::vector<const PlistArray*>{source, changeable, array({})}) {
    const Ref<PlistArray> plain = PlistArray::createOfClass(PlistArray::classDescriptor(), *each);
    EXPECT_EQ(&plain->runtimeClass(), &PlistArray::classDescriptor());
    EXPECT_TRUE(plain->isEqual(each));
    const Ref<PlistArray> copy = PlistArray::createOfClass(PlistMutableArray::classDescriptor(), *each);
    EXPECT_EQ(&copy->runtimeClass(), &PlistMutableArray::classDescriptor());
    EXPECT_NE(copy.get(), each);
    EXPECT_TRUE(copy->isEqual(each));
  }
}

TEST(PlistArray, MadeOfAMutableOneDoesNotChangeWithIt) {
  PlistMutableArray* source = mutableArray({number(1)});
  const Ref<PlistArray> plain = PlistArray::createOfClass(PlistArray::classDescriptor(), *source);
  const Ref<PlistArray> copy = PlistArray::createOfClass(PlistMutableArray::classDescriptor(), *source);
  source->append(number(2));
  EXPECT_EQ(plain->count(), 1u);
  EXPECT_EQ(copy->count(), 1u);
}

TEST(PlistArray, DescribesItselfOnOneLine) {
  EXPECT_EQ(description(*array({string("a"), number(2), nullptr})), "[a, 2, (null)]");
}

TEST(PlistArrayDeathTest, RefusesAnIndexBeyondTheEnd) {
  EXPECT_DEATH(static_cast<void>(array({number(1)})->at(1)), "index < count_, function PlistArray at, file");
}

TEST(PlistArrayDeathTest, RefusesAClassThatIsNoArrays) {
  EXPECT_DEATH(static_cast<void>(PlistArray::createOfClass(PlistString::classDescriptor(), *array({}))),
               "function PlistArray createOfClass");
}

}  // namespace
