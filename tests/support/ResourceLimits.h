// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <sys/resource.h>

namespace vanto::test {

/// A limit as "NUMBER SOFT HARD", with the largest numbers for none.
inline std::string limitLine(int resource, const rlimit& limit) {
  return std::to_string(resource) + " " + std::to_string(limit.rlim_cur) + " " + std::to_string(limit.rlim_max);
}

/// All limits of this process, each at the index of its number.
inline std::vector<std::string> limitLines() {
  std::vector<std::string> lines;
  for (int resource = 0; resource < RLIM_NLIMITS; resource++) {
    rlimit limit{};
    // Fails for none of them; such a line would be another than any that is expected.
    if (getrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0) limit = {0, RLIM_INFINITY};
    lines.push_back(limitLine(resource, limit));
  }
  return lines;
}

/// The limits that a service is to find where its manager was given those of this process, but for descriptors.
inline std::vector<std::string> serviceLimitLines(const rlimit& descriptors) {
  std::vector<std::string> lines = limitLines();
  rlimit core{};
  getrlimit(RLIMIT_CORE, &core);
  lines[RLIMIT_CORE] = limitLine(RLIMIT_CORE, {0, core.rlim_max});
  lines[RLIMIT_NOFILE] = limitLine(RLIMIT_NOFILE, descriptors);
  return lines;
}

}  // namespace vanto::test
