// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vanto/JobFailure.h"
#include "vanto/ReplyReader.h"

namespace vanto::tool {

/// One job as its manager tells it. Texts are as they came.
struct JobState {
  struct Instance {
    std::int64_t pid = 0;
    std::string state;
    /// Nanoseconds since the epoch.
    std::int64_t since = 0;
    /// "full", "reduced" or "none"; none at all while the manager does not know.
    std::optional<std::string> confinement = std::nullopt;
  };

  std::string label;
  std::string name;
  std::string program;
  std::string state;
  std::vector<Instance> instances;
  bool isMultiple = false;
  std::int64_t starts = 0;
  std::int64_t failures = 0;
  /// Nanoseconds until it may start again.
  std::optional<std::int64_t> retry;
  std::optional<JobFailure> failure;

  /// That somebody took the name of its socket.
  struct SocketLoss {
    std::string text;
    /// Nanoseconds since the epoch.
    std::int64_t time = 0;
    bool isMended = false;
  };
  std::optional<SocketLoss> socketLoss;

  [[nodiscard]] static JobState read(ReplyReader& reader);
  /// The jobs of an answer to "status" or "watch".
  [[nodiscard]] static std::vector<JobState> readAll(ReplyReader& reader);
};

}  // namespace vanto::tool
