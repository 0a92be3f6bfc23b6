// SPDX-License-Identifier: Apache-2.0
#include "vanto/DurationText.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(DurationText, HasTheTwoLargestUnits) {
  constexpr std::int64_t second = 1'000'000'000;
  const std::pair<std::int64_t, const char*> durations[] = {{0, "0 s"},
                                                            {-second, "0 s"},
                                                            {1, "less than 0.001 s"},
                                                            {12'345'678, "0.012 s"},
                                                            {100'000'000, "0.1 s"},
                                                            {9 * second + 999'999'999, "9.999 s"},
                                                            {second, "1 s"},
                                                            {10 * second + 1, "10 s"},
                                                            {59 * second + 999'999'999, "59 s"},
                                                            {60 * second, "1 min"},
                                                            {185 * second, "3 min 5 s"},
                                                            {7260 * second, "2 h 1 min"},
                                                            {(12 * 24 + 3) * 3600 * second, "12 d 3 h"}};
  for (const auto& [duration, text] : durations) EXPECT_EQ(durationText(duration), text);
  EXPECT_EQ(durationText(std::numeric_limits<std::int64_t>::max()), "106751 d 23 h");
  EXPECT_EQ(durationText(std::numeric_limits<std::int64_t>::min()), "0 s");
}

}  // namespace
}  // namespace vanto::tool
