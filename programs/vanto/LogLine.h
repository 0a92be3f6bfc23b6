// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vanto/ReplyReader.h"

namespace vanto::tool {

/// A line that a service wrote, as its manager tells it. The text is as it came.
struct LogLine {
  /// Nanoseconds since the epoch.
  std::int64_t time = 0;
  std::int64_t pid = 0;
  std::string text;

  [[nodiscard]] static LogLine read(ReplyReader& reader);
  /// The lines of an answer.
  [[nodiscard]] static std::vector<LogLine> readAll(ReplyReader& reader);

  /// Time, process and text for people, visible, without a line end.
  [[nodiscard]] std::string line() const;
};

}  // namespace vanto::tool
