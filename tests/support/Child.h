// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vanto::testing {

/// How a child process ended, and what it reported before, in order.
struct ChildOutcome {
  /// "exit status 0", "signal 6".
  std::string end;
  std::vector<std::string> lines;
};

/// The way from a child process to the test. A line is there for the test as soon as report() returns, whatever happens
/// to the child next.
class ChildReport {
 public:
  explicit ChildReport(int descriptor) noexcept : descriptor_(descriptor) {}

  /// Reports one line; from a signal handler too.
  void operator()(std::string_view line) const;

 private:
  int descriptor_;
};

/// Runs `work` in a child process, for what a process does only once or dies of. The child ends with status 0 when
/// `work` returns, and with 99 when an expectation in it failed. To be called while the process has one thread.
[[nodiscard]] ChildOutcome runInChild(const std::function<void(const ChildReport& report)>& work);

}  // namespace vanto::testing
