// SPDX-License-Identifier: Apache-2.0
#include "vanto/LocalTime.h"

#include <cstddef>

#include <time.h>

namespace vanto::tool {
namespace {

constexpr std::int64_t second = 1'000'000'000;

std::string formatted(const char* format, const tm& time) {
  char text[64];
  return {text, strftime(text, sizeof text, format, &time)};
}

}  // namespace

std::int64_t currentTime() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * second + now.tv_nsec;
}

std::int64_t elapsedSince(std::int64_t time) noexcept {
  const std::int64_t now = currentTime();
  // A time that a broken manager made up can be so far off that the difference has no number.
  return time < 0 ? now : now - time;
}

std::string localTimeText(std::int64_t nanoseconds) {
  // Before the epoch the fraction still counts forwards.
  const bool isBefore = nanoseconds % second < 0;
  const std::int64_t rest = nanoseconds % second + (isBefore ? second : 0);
  const time_t seconds = nanoseconds / second - (isBefore ? 1 : 0);
  tm time{};
  if (localtime_r(&seconds, &time) == nullptr) return std::to_string(nanoseconds);
  std::string zone = formatted("%z", time);
  if (zone.size() == 5) zone.insert(3, ":");
  return formatted("%Y-%m-%dT%H:%M:%S", time) + '.' + std::to_string(1000 + rest / 1'000'000).substr(1) + zone;
}

}  // namespace vanto::tool
