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
    /// The lines that it has sent of that, as docs/formats/profile.md describes them; empty while there are none.
    std::string receipt = {};
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

  /// Of the processes of which it is known the one that is confined least. Null when it is known of none.
  [[nodiscard]] const Instance* weakestInstance() const noexcept;

  [[nodiscard]] static JobState read(ReplyReader& reader);
  /// The jobs of an answer to "status" or "watch".
  [[nodiscard]] static std::vector<JobState> readAll(ReplyReader& reader);
};

}  // namespace vanto::tool
