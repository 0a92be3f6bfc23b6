// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vanto/Console.h"

namespace vanto::tool {

enum class Severity : std::uint8_t {
  /// Worth knowing; all works as it is written.
  Note,
  /// Something will not apply.
  Warning,
  /// The service cannot start, cannot be reached, or is open where it was meant to be closed.
  Error
};

[[nodiscard]] const char* nameOf(Severity severity) noexcept;

/// One thing that is wrong with a service bundle. All texts are visible ones.
struct Finding {
  Severity severity = Severity::Error;
  std::string file;
  /// Key path in the file; empty where there is none.
  std::string key;
  std::string problem;
  /// What to do about it.
  std::string remedy;

  /// `FILE: KEY: warning: problem; remedy`, where `severityText` stands for the severity.
  [[nodiscard]] std::string line(const std::string& severityText) const;
};

/// Prints the line of `finding`, its severity in colour where there are any.
void print(Console& console, const Finding& finding);

using Findings = std::vector<Finding>;

}  // namespace vanto::tool
