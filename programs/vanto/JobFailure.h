// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "vanto/ReplyReader.h"

namespace vanto::tool {

/// The last failure of a job, as its manager tells it. Times are nanoseconds, `time` since the epoch.
struct JobFailure {
  std::string stage;
  std::string text;
  std::int64_t time = 0;
  /// An errno value.
  std::optional<std::int64_t> error;
  std::optional<std::int64_t> status;
  std::optional<std::int64_t> signal;
  std::optional<std::int64_t> pause;
  std::optional<std::int64_t> pid;
  std::optional<std::int64_t> ran;

  [[nodiscard]] static JobFailure read(ReplyReader& reader);

  /// What ended the start or the run: signal, exit status or error, with their names; its text where it has none of
  /// them. Visible.
  [[nodiscard]] std::string cause() const;
};

}  // namespace vanto::tool
