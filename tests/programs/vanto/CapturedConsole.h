// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "value/Fd.h"
#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::testing {

/// A console whose streams are kept in memory.
class CapturedConsole {
 public:
  explicit CapturedConsole(tool::Display output = {}, tool::Display messages = {});

  [[nodiscard]] tool::Console& console() noexcept { return console_; }
  /// What was written so far.
  [[nodiscard]] std::string output();
  [[nodiscard]] std::string messages();

 private:
  Fd output_;
  Fd messages_;
  tool::Console console_;
};

/// What a run of the tool inside the test program came to.
struct ToolRun {
  tool::ExitStatus status{};
  std::string output;
  std::string messages;
};

/// Runs the tool with arguments behind its name. Nothing is a terminal unless a display says so.
[[nodiscard]] ToolRun runTool(const std::vector<std::string>& arguments, tool::Display output = {},
                              tool::Display messages = {});

/// A terminal without colours.
inline constexpr tool::Display plainTerminal{true, false, 80};

}  // namespace vanto::testing
