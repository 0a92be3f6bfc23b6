// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vanto::test {

/// What a run of the installed form of the tool came to.
struct ToolOutcome {
  /// "exit status 0", "signal 9".
  std::string end;
  std::string output;
  std::string messages;
};

/// How the tool is run besides.
struct ToolSetting {
  std::string input;
  /// Called in the child before the tool takes its place.
  std::function<void()> prepare = [] {
  };
};

/// Runs the tool in a process of its own.
[[nodiscard]] ToolOutcome runToolProcess(const std::vector<std::string>& arguments, const ToolSetting& setting = {});

/// Runs the tool on a terminal of so many columns; both streams are its output.
[[nodiscard]] ToolOutcome runToolOnTerminal(
    const std::vector<std::string>& arguments, unsigned short columns, const std::function<void()>& prepare = [] {});

}  // namespace vanto::test
