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

  /// The path that is written there, as an absolute one. None when it cannot be read, which is remarked.
  [[nodiscard]] std::optional<std::string> pathOf(const TraceLine& line, const TraceValue& written);
  /// The same for the path in an argument.
  [[nodiscard]] std::optional<std::string> pathIn(const TraceLine& line, std::size_t index) {
    return pathOf(line, line.argument(index));
  }
  /// The same for a path that is seen from the directory in the argument before it.
  [[nodiscard]] std::optional<std::string> pathAt(const TraceLine& line, std::size_t index);

  /// Notes what the descriptors lead to that stand in a line, and what the working directory is.
  void takePlaces(const TraceLine& line);
  /// The same of one value.
  void takePlace(std::int64_t thread, const TraceValue& value);

  /// A name was put into a directory, or that of a Unix socket.
  void make(const std::string& path);
  void makeSocket(const std::string& path);
  /// A name was put there unless it was there before.
  void openOrMake(const std::string& path);
  /// A name was taken away, or something else was put in its place.
  void remove(const std::string& path);
  void removeDirectory(const std::string& path);

  /// Notes rights to what is at `path`. What lies beneath the directory of a process in /proc gets another name in each
  /// run.
  void use(const std::string& path, RightSet rights);
  /// Notes that the directory at `path` was listed.
  void list(const std::string& path);
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
