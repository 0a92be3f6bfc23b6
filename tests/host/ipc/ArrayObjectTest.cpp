// SPDX-License-Identifier: Apache-2.0
#include "ipc/ArrayObject.h"

#include <gtest/gtest.h>

#include <csignal>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/ScalarObject.h"

using vanto::ArrayObject;
using vanto::Int64Object;
using vanto::Ref;

using ArrayObjectTest = vanto::test::BalancedTest;
using ArrayObjectDeathTest = vanto::test::BalancedTest;

TEST_F(ArrayObjectTest, KeepsElementsInOrderWhileItOutgrowsItsFirstMemory) {
  for (const std::size_t capacity : {0U, 1U, 3U, 100U}) {
    const Ref<ArrayObject> array = ArrayObject::create(capacity);
    EXPECT_EQ(array->count(), 0U);
    for (std::int64_t number = 0; number < 50; ++number) array->append(Int64Object::create(number));
    ASSERT_EQ(array->count(), 50U);
    for (std::size_t index = 0; index < 50; ++index) {
      const auto* element = vanto::ofKind<Int64Object>(array->elements()[index]);
      ASSERT_NE(element, nullptr);
      EXPECT_EQ(element->value(), static_cast<std::int64_t>(index));
    }
  }
}

TEST_F(ArrayObjectTest, HoldsAReferenceToEachElement) {
  const Ref<Int64Object> element = Int64Object::create(1);
  Ref<ArrayObject> array = ArrayObject::create(0);
  array->append(element);
  array->append(element);
  EXPECT_EQ(element->referenceCount(), 3U);
  array = nullptr;
  EXPECT_EQ(element->referenceCount(), 1U);
}

TEST_F(ArrayObjectTest, AMillionNestedArraysEndWithoutUsingUpTheStack) {
  Ref<vanto_object> outermost = vanto::test::nestedArrays(1'000'000);
  EXPECT_EQ(outermost->kind(), VANTO_KIND_ARRAY);
  outermost = nullptr;
}

TEST_F(ArrayObjectDeathTest, AppendingItselfIsABrokenInvariant) {
  EXPECT_EXIT(
      {
        const Ref<ArrayObject> array = ArrayObject::create(0);
        array->append(array);
      },
      testing::KilledBySignal(SIGABRT), "");
}
