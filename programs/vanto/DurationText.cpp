// SPDX-License-Identifier: Apache-2.0
#include "vanto/DurationText.h"

namespace vanto::tool {
namespace {

constexpr std::int64_t milliseconds = 1'000'000;
constexpr std::int64_t second = 1000;
constexpr std::int64_t minute = 60 * second;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

std::string inTwo(std::int64_t large, const char* largeUnit, std::int64_t small, const char* smallUnit) {
  std::string text = std::to_string(large) + ' ' + largeUnit;
  if (small != 0) text += ' ' + std::to_string(small) + ' ' + smallUnit;
  return text;
}

/// Below ten seconds, to the millisecond.
std::string inSeconds(std::int64_t time) {
  std::string fraction = std::to_string(1000 + time % second).substr(1);
  fraction.erase(fraction.find_last_not_of('0') + 1);
  return std::to_string(time / second) + (fraction.empty() ? "" : "." + fraction) + " s";
}

}  // namespace

std::string durationText(std::int64_t nanoseconds) {
  if (nanoseconds <= 0) return "0 s";
  const std::int64_t time = nanoseconds / milliseconds;
  if (time == 0) return "less than 0.001 s";
  if (time < 10 * second) return inSeconds(time);
  if (time < minute) return inTwo(time / second, "s", 0, "");
  if (time < hour) return inTwo(time / minute, "min", time % minute / second, "s");
  if (time < day) return inTwo(time / hour, "h", time % hour / minute, "min");
  return inTwo(time / day, "d", time % day / hour, "h");
}

}  // namespace vanto::tool
