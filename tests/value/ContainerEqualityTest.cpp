// SPDX-License-Identifier: Apache-2.0
#include "value/ContainerEquality.h"

#include <gtest/gtest.h>

#include "support/Nesting.h"
#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::ContainerEquality;
using vanto::Object;
using vanto::Ref;

TEST(ContainerEquality, ComparesArraysElementByElement) {
  EXPECT_TRUE(ContainerEquality::areEqual(*array({}), *mutableArray({})));
  EXPECT_TRUE(ContainerEquality::areEqual(*array({number(1), string("a")}), *array({real(1), mutableString("a")})));
  EXPECT_FALSE(ContainerEquality::areEqual(*array({number(1), number(2)}), *array({number(2), number(1)})));
  EXPECT_FALSE(ContainerEquality::areEqual(*array({number(1)}), *array({number(1), number(1)})));
  EXPECT_FALSE(ContainerEquality::areEqual(*array({number(1)}), *array({PlistBoolean::of(true)})));
}

TEST(ContainerEquality, TakesHolesForEqual) {
  EXPECT_TRUE(ContainerEquality::areEqual(*array({nullptr, number(1)}), *array({nullptr, number(1)})));
  EXPECT_FALSE(ContainerEquality::areEqual(*array({nullptr}), *array({number(1)})));
  EXPECT_FALSE(ContainerEquality::areEqual(*array({number(1)}), *array({nullptr})));
}

TEST(ContainerEquality, ComparesDictionariesKeyByKey) {
  const PlistDictionary* values = dictionary({{string("a"), number(1)}, {string("b"), array({number(2)})}});
  EXPECT_TRUE(ContainerEquality::areEqual(
      *values, *mutableDictionary({{string("b"), mutableArray({number(2)})}, {string("a"), number(1)}})));
  EXPECT_FALSE(ContainerEquality::areEqual(*values, *dictionary({{string("a"), number(1)}})));
  EXPECT_FALSE(
      ContainerEquality::areEqual(*values, *dictionary({{string("a"), number(1)}, {string("c"), array({number(2)})}})));
  EXPECT_FALSE(
      ContainerEquality::areEqual(*values, *dictionary({{string("a"), number(1)}, {string("b"), array({number(3)})}})));
}

TEST(ContainerEquality, TellsArraysFromDictionariesAndOthers) {
  EXPECT_FALSE(ContainerEquality::areEqual(*array({}), *dictionary({})));
  EXPECT_FALSE(ContainerEquality::areEqual(*dictionary({}), *array({})));
  EXPECT_FALSE(ContainerEquality::areEqual(*array({}), *string("")));
  EXPECT_FALSE(ContainerEquality::areEqual(*dictionary({}), *string("")));
}

TEST(ContainerEquality, LooksIntoContainersInsideContainers) {
  const auto nested = [](std::int64_t innermost) {
    return array({dictionary({{string("a"), array({array({}), number(innermost)})}}), string("end")});
  };
  EXPECT_TRUE(nested(1)->isEqual(nested(1)));
  EXPECT_FALSE(nested(1)->isEqual(nested(2)));
}

TEST(ContainerEquality, NeedsNoStackForDepth) {
  constexpr std::size_t depth = 200'000;
  const Ref<Object> one = nestedContainers(depth, *number(1));
  EXPECT_TRUE(one->isEqual(nestedContainers(depth, *number(1)).get()));
  EXPECT_FALSE(one->isEqual(nestedContainers(depth, *number(2)).get()));
  EXPECT_FALSE(one->isEqual(nestedContainers(depth - 1, *number(1)).get()));
}

}  // namespace
