// SPDX-License-Identifier: Apache-2.0
#include "value/Description.h"

#include <new>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "support/LeftObjects.h"
#include "support/Nesting.h"
#include "support/Values.h"
#include "value/ValueStorage.h"

namespace {

using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;

class Plain : public Object {
 public:
  Plain() noexcept : Object(descriptor, Storage::Immortal) {}

 private:
  static constexpr vanto::Class descriptor{"Plain", &vanto::objectClass, vanto::NoKind, nullptr, nullptr, nullptr};
};

TEST(Description, OfAnObjectWithoutABetterOneIsClassAndAddress) {
  const Plain plain;
  EXPECT_TRUE(std::regex_match(description(plain), std::regex("Plain 0x[0-9a-f]+")));
}

TEST(Description, OfContainersIsOneLine) {
  EXPECT_EQ(description(*array({})), "[]");
  EXPECT_EQ(description(*mutableArray({})), "[]");
  EXPECT_EQ(description(*dictionary({})), "{}");
  EXPECT_EQ(description(*array({string("a"), nullptr, array({number(1)})})), "[a, (null), [1]]");
  EXPECT_EQ(description(*mutableDictionary(
                {{string("b"), PlistBoolean::of(false)}, {string("a"), dictionary({{string("c"), real(0.5)}})}})),
            "{a = {c = 0.5}, b = 0}");
}

TEST(Description, StopsAtADepth) {
  Ref<Object> nested = Ref<Object>::share(string("x"));
  std::string expected = "x";
  for (int level = 0; level < 16; ++level) {
    Object* const element = nested.get();
    nested = PlistArray::create({&element, 1});
    expected = "[" + expected + "]";
    EXPECT_EQ(description(*nested), expected);
  }
  Object* const element = nested.get();
  nested = PlistArray::create({&element, 1});
  EXPECT_EQ(description(*nested), "[[[[[[[[[[[[[[[[…]]]]]]]]]]]]]]]]");
  EXPECT_LT(description(*nestedContainers(100'000, *string("x"))).size(), 200u);
}

TEST(Description, OfAnArrayThatContainsItselfEnds) {
  // It keeps itself for good.
  static PlistMutableArray* const array = mutableArray({});
  array->append(array);
  EXPECT_EQ(description(*array), "[[[[[[[[[[[[[[[[…]]]]]]]]]]]]]]]]");
  leaveObjects(1);
}

}  // namespace
