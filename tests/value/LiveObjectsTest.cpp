// SPDX-License-Identifier: Apache-2.0
#include "value/LiveObjects.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;

#ifdef VANTO_COUNT_OBJECTS
constexpr std::int64_t one = 1;
#else
constexpr std::int64_t one = 0;
#endif

TEST(LiveObjects, CountObjectsFromTheirStartToTheirEnd) {
  const std::int64_t before = vanto::liveObjectCount();
  vanto::Ref<PlistString> string = PlistString::create("a");
  EXPECT_EQ(vanto::liveObjectCount(), before + one);
  vanto::Ref<PlistMutableString> other = PlistMutableString::create("b");
  EXPECT_EQ(vanto::liveObjectCount(), before + 2 * one);
  string = nullptr;
  other = nullptr;
  EXPECT_EQ(vanto::liveObjectCount(), before);
}

TEST(LiveObjects, DoNotCountImmortals) {
  const std::int64_t before = vanto::liveObjectCount();
  const vanto::Ref<PlistArray> array = PlistArray::create();
  const vanto::Ref<PlistDictionary> dictionary = PlistDictionary::create();
  PlistBoolean::of(true)->retain();
  EXPECT_EQ(vanto::liveObjectCount(), before);
}

}  // namespace
