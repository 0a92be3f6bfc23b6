// SPDX-License-Identifier: Apache-2.0
#include "support/ObjectCounter.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "support/LeftObjects.h"
#include "value/LiveObjects.h"

namespace vanto::testing {

namespace {

std::atomic<std::int64_t> leftOnPurpose = 0;

#ifdef VANTO_COUNT_OBJECTS
/// What other threads still have in hand when a test ends gets this long to end, too.
constexpr std::chrono::seconds patience{2};

/// The number of living objects as soon as it is `expected`, and whatever it is when patience ends.
std::int64_t settledCount(std::int64_t expected) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (liveObjectCount() != expected && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return liveObjectCount();
}
#endif

}  // namespace

void leaveObjects(std::int64_t count) {
  leftOnPurpose += count;
}

void ObjectCounter::OnTestStart(const ::testing::TestInfo&) {
  leftOnPurpose = 0;
  countBefore_ = liveObjectCount();
  scope_.emplace();
}

void ObjectCounter::OnTestEnd(const ::testing::TestInfo&) {
  scope_.reset();
#ifdef VANTO_COUNT_OBJECTS
  const std::int64_t expected = countBefore_ + leftOnPurpose;
  EXPECT_EQ(settledCount(expected), expected) << "living objects";
#endif
}

}  // namespace vanto::testing
