// SPDX-License-Identifier: Apache-2.0
#include "Medians.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace vanto::bench {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

namespace {

// Processor time, so that what else runs on the machine counts little.
double processorNanoseconds() {
  timespec now;
  require(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) == 0, "no clock of processor time");
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double nanosecondsPerCall(const std::function<void()>& work, int calls) {
  const double start = processorNanoseconds();
  for (int call = 0; call < calls; ++call) work();
  return (processorNanoseconds() - start) / calls;
}

}  // namespace

std::vector<double> medians(const std::vector<std::function<void()>>& works, const std::vector<int>& calls,
                            int rounds) {
  std::vector<std::vector<double>> times(works.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t index = 0; index < works.size(); ++index) {
      times[index].push_back(nanosecondsPerCall(works[index], calls[index]));
    }
  }
  std::vector<double> result;
  for (std::vector<double>& series : times) {
    std::nth_element(series.begin(), series.begin() + rounds / 2, series.end());
    result.push_back(series[static_cast<std::size_t>(rounds / 2)]);
  }
  return result;
}

}  // namespace vanto::bench
