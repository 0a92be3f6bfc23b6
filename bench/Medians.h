// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

namespace vanto::bench {

/// Ends the program with `what` when something that must hold does not.
void require(bool condition, const char* what);

/// The median processor time of a call of each of `works`, in nanoseconds, of `rounds` rounds of as many calls as
/// `calls` says. The rounds of the works alternate, so that all meet the same state of the machine.
[[nodiscard]] std::vector<double> medians(const std::vector<std::function<void()>>& works,
                                          const std::vector<int>& calls, int rounds);

}  // namespace vanto::bench
