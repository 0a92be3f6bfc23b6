// SPDX-License-Identifier: Apache-2.0
#include "refusals/Holdings.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace vanto::refusals {

namespace {

/// What the allocator may keep, and a thread that was never needed before may touch. A byte that is lost with each of a
/// million clients is eight times as much.
constexpr long mostKilobytes = 128;

/// The number behind `key` in a file of the kernel about a process; -1 when there is none.
long numberIn(pid_t process, const char* file, const std::string& key) {
  std::ifstream lines("/proc/" + std::to_string(process) + "/" + file);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(key)) return std::atol(line.c_str() + key.size());
  }
  return -1;
}

long descriptorsOf(pid_t process) {
  std::error_code error;
  const std::filesystem::directory_iterator list("/proc/" + std::to_string(process) + "/fd", error);
  return error ? -1 : std::distance(begin(list), end(list));
}

}  // namespace

Holdings Holdings::of(pid_t process) {
  return {descriptorsOf(process), numberIn(process, "smaps_rollup", "Pss:"), numberIn(process, "status", "RssAnon:")};
}

std::string Holdings::growthSince(const Holdings& earlier) const {
  if (anonymousKilobytes < 0) return "has ended";
  if (descriptors > earlier.descriptors) return "has more descriptors";
  return anonymousKilobytes > earlier.anonymousKilobytes + mostKilobytes ? "has more memory" : "";
}

}  // namespace vanto::refusals
