// SPDX-License-Identifier: Apache-2.0
#include "soak/ToldTimes.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>

namespace vanto::soak {

namespace {

constexpr std::int64_t bound = 100'000'000;

double milliseconds(std::int64_t time) {
  return static_cast<double>(time) / 1e6;
}

bool reportRow(const char* name, std::vector<std::int64_t> times, ToldTimes::Lateness lateness) {
  std::sort(times.begin(), times.end());
  const auto above = times.end() - std::upper_bound(times.begin(), times.end(), bound);
  const bool isGood =
      lateness == ToldTimes::Lateness::Shown || above <= std::max<std::ptrdiff_t>(std::ssize(times) / 100, 1);
  std::printf("  %-36s %5zu %8.2f %8.2f %8.2f %6zd%s\n", name, times.size(), milliseconds(times[times.size() / 2]),
              milliseconds(times[(times.size() - 1) * 99 / 100]), milliseconds(times.back()), above,
              isGood ? "" : "   WRONG");
  return isGood;
}

}  // namespace

bool ToldTimes::report(Lateness lateness) const {
  std::printf("  %-36s %5s %8s %8s %8s %6s\n", "clients told that a start failed", "", "median", "99 %", "longest",
              "above");
  std::printf("  %-36s %5s %8s %8s %8s %6s\n", "", "count", "ms", "ms", "ms", "100 ms");
  bool good = true;
  std::vector<std::int64_t> all;
  for (const auto& [name, times] : times_) {
    good = reportRow(name.c_str(), times, lateness) && good;
    all.insert(all.end(), times.begin(), times.end());
  }
  if (!all.empty()) good = reportRow("all", all, lateness) && good;
  // What is judged has to be measured.
  const bool isKnown = !all.empty() || (unclear_ == 0 && lateness == Lateness::Shown);
  if (unclear_ != 0 || !isKnown)
    std::printf("  %-36s %5d%s\n", "told of one or another failure", unclear_, isKnown ? "" : "   WRONG");
  std::printf("\n");
  return good && isKnown;
}

}  // namespace vanto::soak
