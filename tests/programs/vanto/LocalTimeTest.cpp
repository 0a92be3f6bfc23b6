// SPDX-License-Identifier: Apache-2.0
#include "vanto/LocalTime.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

class LocalTime : public ::testing::Test {
 protected:
  ~LocalTime() override { useZone(nullptr); }
  static void useZone(const char* zone) {
    if (zone == nullptr) {
      unsetenv("TZ");
    } else {
      setenv("TZ", zone, 1);
    }
    tzset();
  }
};

TEST_F(LocalTime, HasMillisecondsAndTheOffset) {
  useZone("UTC0");
  EXPECT_EQ(localTimeText(1'795'275'245'042'999'999), "2026-11-21T15:34:05.042+00:00");
  useZone("AAA-5:30");
  EXPECT_EQ(localTimeText(1'795'275'245'042'999'999), "2026-11-21T21:04:05.042+05:30");
  useZone("BBB3");
  EXPECT_EQ(localTimeText(0), "1969-12-31T21:00:00.000-03:00");
}

TEST_F(LocalTime, CountsForwardsBeforeTheEpochToo) {
  useZone("UTC0");
  EXPECT_EQ(localTimeText(-1), "1969-12-31T23:59:59.999+00:00");
  EXPECT_EQ(localTimeText(-1'000'000'000), "1969-12-31T23:59:59.000+00:00");
}

TEST_F(LocalTime, TakesEveryNumber) {
  useZone("UTC0");
  EXPECT_EQ(localTimeText(std::numeric_limits<std::int64_t>::max()), "2262-04-11T23:47:16.854+00:00");
  EXPECT_EQ(localTimeText(std::numeric_limits<std::int64_t>::min()), "1677-09-21T00:12:43.145+00:00");
}

TEST_F(LocalTime, PassesSinceThen) {
  const std::int64_t now = currentTime();
  EXPECT_GE(elapsedSince(now), 0);
  EXPECT_GE(elapsedSince(now - 5), 5);
  EXPECT_LT(elapsedSince(std::numeric_limits<std::int64_t>::max()), 0);
  EXPECT_GE(elapsedSince(std::numeric_limits<std::int64_t>::min()), now);
}

}  // namespace
}  // namespace vanto::tool
