// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListSequence.h"

#include <gtest/gtest.h>

#include <VantoService/KorURL.h>
#include <VantoService/PlistData.h>

#include "support/Nesting.h"
#include "support/Values.h"
#include "value/limits.h"

namespace vanto {
namespace {

using namespace testing;

std::string problemOf(const Object& value) {
  PropertyListSequence sequence;
  const char* problem = sequence.take(value);
  return problem != nullptr ? problem : "";
}

TEST(PropertyListSequence, HasContainersBeforeTheirMembersAndKeysBeforeTheirValues) {
  PlistArray* const inner = array({number(1), number(2)});
  PlistString* const a = string("a");
  PlistString* const b = string("b");
  PlistDictionary* const root = dictionary({{b, PlistBoolean::of(true)}, {a, inner}});
  PropertyListSequence sequence;
  ASSERT_EQ(sequence.take(*root), nullptr);
  const std::vector<const Object*> objects = {root, a, inner, inner->at(0), inner->at(1), b, PlistBoolean::of(true)};
  ASSERT_EQ(sequence.items().size(), objects.size());
  for (std::size_t index = 0; index < objects.size(); ++index) {
    EXPECT_EQ(sequence.items()[index].object, objects[index]) << index;
    EXPECT_EQ(sequence.items()[index].isKey, index == 1 || index == 5) << index;
  }
}

TEST(PropertyListSequence, WalksMutableDictionariesInAscendingOrder) {
  PlistMutableDictionary* root = mutableDictionary({});
  for (int index = 0; index < 1000; ++index) root->setValueForKey(number(1), string(std::to_string(index * 7919)));
  PropertyListSequence sequence;
  ASSERT_EQ(sequence.take(*root), nullptr);
  std::uint32_t next = 0;
  for (const PropertyListSequence::Item& item : sequence.items()) {
    if (!item.isKey) continue;
    EXPECT_EQ(sequence.strings().index(item.string), next++);
  }
  EXPECT_EQ(next, 1000U);
}

TEST(PropertyListSequence, KnowsTheBitsOfAllCounts) {
  const auto bitsOf = [](const Object& value) {
    PropertyListSequence sequence;
    EXPECT_EQ(sequence.take(value), nullptr);
    return sequence.bitsOfCounts();
  };
  EXPECT_EQ(bitsOf(*number(1000)), 0U);
  EXPECT_EQ(bitsOf(*array({number(1), number(1), number(1), number(1)})), 4U);
  EXPECT_EQ(bitsOf(*PlistData::createWithoutCopying({reinterpret_cast<const std::uint8_t*>("12345678"), 8})), 8U);
  // One string of 16 bytes, index 0.
  EXPECT_EQ(bitsOf(*string("0123456789ABCDEF")), 17U);
}

TEST(PropertyListSequence, RefusesWhatIsNoPropertyListValue) {
  KorURL* url = KorURL::create(*string("/tmp"), true).asTemporary();
  EXPECT_EQ(problemOf(*url), "an object that is no property-list value cannot be written");
  EXPECT_EQ(problemOf(*array({number(1), url})), "an object that is no property-list value cannot be written");
  EXPECT_EQ(problemOf(*dictionary({{string("k"), url}})), "an object that is no property-list value cannot be written");
  EXPECT_EQ(problemOf(*array({nullptr})), "an array with a hole cannot be written");
}

TEST(PropertyListSequence, NestsToTheLimitAndNotOneDeeper) {
  EXPECT_EQ(problemOf(*nestedContainers(limits::propertyListNesting, *number(1))), "");
  EXPECT_EQ(problemOf(*nestedContainers(limits::propertyListNesting - 1, *array({}))), "");
  EXPECT_EQ(problemOf(*nestedContainers(limits::propertyListNesting, *array({}))),
            "containers nested too deep for readers");
  EXPECT_EQ(problemOf(*nestedContainers(limits::propertyListNesting, *dictionary({}))),
            "containers nested too deep for readers");
}

TEST(PropertyListSequence, StopsEarlyAtATreeThatGrowsWithoutEndBySharing) {
  // 2 to the 60th values, if nobody stopped.
  const std::vector<std::uint8_t> bytes(1'000'000);
  Object* value = PlistData::create(bytes).asTemporary();
  for (int depth = 0; depth < 60; ++depth) value = array({value, value});
  EXPECT_EQ(problemOf(*value), "a value that takes more than 64 MiB cannot be written");
}

}  // namespace
}  // namespace vanto
