// SPDX-License-Identifier: Apache-2.0
#include "soak/ToldTimes.h"

#include <algorithm>
#include <cstdio>

namespace vanto::soak {

namespace {

constexpr std::int64_t bound = 100'000'000;

double milliseconds(std::int64_t time) {
  return static_cast<double>(time) / 1e6;
}

void printRow(const char* name, std::vector<std::int64_t> times) {
  std::sort(times.begin(), times.end());
  const auto above = times.end() - std::upper_bound(times.begin(), times.end(), bound);
  std::printf("  %-36s %5zu %8.2f %8.2f %8.2f %6zd\n", name, times.size(), milliseconds(times[times.size() / 2]),
              milliseconds(times[(times.size() - 1) * 99 / 100]), milliseconds(times.back()), above);
}

}  // namespace

void ToldTimes::report() const {
  std::printf("  %-36s %5s %8s %8s %8s %6s\n", "clients told that a start failed", "", "median", "99 %", "longest",
              "above");
  std::printf("  %-36s %5s %8s %8s %8s %6s\n", "", "count", "ms", "ms", "ms", "100 ms");
  std::vector<std::int64_t> all;
  for (const auto& [name, times] : times_) {
    printRow(name.c_str(), times);
    all.insert(all.end(), times.begin(), times.end());
  }
  if (!all.empty()) printRow("all", all);
  if (unclear_ != 0) std::printf("  %-36s %5d\n", "told of one or another failure", unclear_);
  std::printf("\n");
}

}  // namespace vanto::soak
