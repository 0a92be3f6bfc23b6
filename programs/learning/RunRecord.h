// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "learning/RunFacts.h"
#include "learning/TraceLine.h"
#include "learning/TracedProcesses.h"

namespace vanto::learning {

/// What is known of a run while its trace is read.
struct RunRecord {
  explicit RunRecord(std::string directory) : processes(std::move(directory)) {}

  /// The path in an argument, as an absolute one. None when it cannot be read, which is remarked.
  [[nodiscard]] std::optional<std::string> pathIn(const TraceLine& line, std::size_t index);
  /// The same for a path that is seen from the directory in the argument before it.
  [[nodiscard]] std::optional<std::string> pathAt(const TraceLine& line, std::size_t index);

  /// Notes rights to what is at `path`. What lies beneath the directory of a process in /proc gets another name in each
  /// run.
  void use(const std::string& path, RightSet rights);
  void remark(std::string text) { facts.remarks.insert(std::move(text)); }
  void remarkUnreadable(const TraceLine& line);
  void remarkRefused(std::string_view what);

  TracedProcesses processes;
  RunFacts facts;
  /// Names of abstract sockets that the run made, and that it connected to.
  std::set<std::string> abstractMade;
  std::set<std::string> abstractUsed;
  /// Processes and, below 0, groups that it has sent signals to.
  std::set<std::int64_t> signalled;
  /// Device files that it has opened.
  std::set<std::string> devices;
};

/// How one system call is read; only those that have succeeded, unless `readsFailed`.
struct CallReader {
  std::string_view name;
  void (*read)(const TraceLine& line, RunRecord& record);
  bool readsFailed = false;
};

}  // namespace vanto::learning
