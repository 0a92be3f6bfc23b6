// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <VantoService/PlistArray.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;

TEST(PlistMutableArray, Grows) {
  const Ref<PlistMutableArray> values = PlistMutableArray::create();
  EXPECT_EQ(values->count(), 0u);
  for (int value = 0; value < 1000; ++value) values->append(number(value));
  ASSERT_EQ(values->count(), 1000u);
  for (std::size_t index = 0; index < 1000; ++index) {
    EXPECT_TRUE(values->at(index)->isEqual(number(static_cast<std::int64_t>(index))));
  }
}

TEST(PlistMutableArray, TakesAReferenceToWhatIsAppended) {
  const Ref<PlistString> element = PlistString::create("a");
  {
    const Ref<PlistMutableArray> values = PlistMutableArray::create();
    values->append(element.get());
    EXPECT_EQ(element->referenceCount(), 2u);
  }
  EXPECT_EQ(element->referenceCount(), 1u);
}

TEST(PlistMutableArray, CopiesHoles) {
  const Ref<PlistArray> copy =
      PlistArray::createOfClass(PlistMutableArray::classDescriptor(), *array({nullptr, number(1)}));
  EXPECT_EQ(copy->at(0), nullptr);
  EXPECT_EQ(copy->count(), 2u);
}

TEST(PlistMutableArray, IsOfTheKindOfArrays) {
  EXPECT_TRUE(mutableArray({number(1)})->isEqual(array({number(1)})));
  EXPECT_TRUE(array({number(1)})->isEqual(mutableArray({number(1)})));
}

TEST(PlistMutableArrayDeathTest, RefusesToAppendNull) {
  EXPECT_DEATH(mutableArray({})->append(nullptr),
               "element != nullptr, function PlistMutableArray append, file PlistMutableArray.cpp");
}

void changeWhileWalking(std::size_t steps) {
  PlistMutableArray* values = mutableArray({number(1), number(2)});
  PlistArray::Cursor cursor(*values);
  Object* element = nullptr;
  for (std::size_t step = 0; step < steps; ++step) static_cast<void>(cursor.next(element));
  values->append(number(3));
  static_cast<void>(cursor.next(element));
}

TEST(PlistMutableArrayDeathTest, RefusesAChangeDuringEnumeration) {
  const char* const report = "function PlistMutableArray enumeration, file";
  for (const std::size_t steps : {0u, 1u, 2u, 3u}) EXPECT_DEATH(changeWhileWalking(steps), report);
}

}  // namespace
