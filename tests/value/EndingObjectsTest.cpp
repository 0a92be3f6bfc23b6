// SPDX-License-Identifier: Apache-2.0
#include "value/EndingObjects.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Nesting.h"
#include "support/Values.h"
#include "value/LiveObjects.h"

namespace {

using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;

TEST(EndingObjects, EndContainersOfAnyDepth) {
  for (const std::size_t depth : {1u, 2u, 63u, 64u, 65u, 66u, 128u, 512u, 1'000'000u}) {
    const Ref<PlistString> innermost = PlistString::create("a");
    const std::int64_t before = vanto::liveObjectCount();
    Ref<Object> outermost = nestedContainers(depth, *innermost);
    EXPECT_EQ(innermost->referenceCount(), 2u);
    outermost = nullptr;
    EXPECT_EQ(innermost->referenceCount(), 1u);
    EXPECT_EQ(vanto::liveObjectCount(), before);
  }
}

TEST(EndingObjects, EndContainersThatAreDeepAndWide) {
  const Ref<PlistString> leaf = PlistString::create("a");
  const Ref<PlistMutableArray> wide = PlistMutableArray::create();
  for (int index = 0; index < 1000; ++index) wide->append(nestedContainers(300, *leaf).get());
  Ref<Object> outermost = nestedContainers(200, *wide);
  EXPECT_EQ(leaf->referenceCount(), 1001u);
  outermost = nullptr;
  EXPECT_EQ(wide->referenceCount(), 1u);
  EXPECT_EQ(leaf->referenceCount(), 1001u);
}

TEST(EndingObjects, LeaveSharedContainersAlone) {
  const Ref<PlistString> leaf = PlistString::create("a");
  const Ref<Object> shared = nestedContainers(100, *leaf);
  Ref<Object> outermost = nestedContainers(100, *shared);
  outermost = nullptr;
  EXPECT_EQ(shared->referenceCount(), 1u);
  EXPECT_EQ(leaf->referenceCount(), 2u);
}

TEST(EndingObjects, EndOnSmallStacksAndOnSeveralThreads) {
  const Ref<PlistString> leaf = PlistString::create("a");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&leaf] { nestedContainers(100'000, *leaf) = nullptr; });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(leaf->referenceCount(), 1u);
}

}  // namespace
