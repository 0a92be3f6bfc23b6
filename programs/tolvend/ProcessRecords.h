// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "value/Fd.h"

namespace vanto::manager {

/// A process of a service, as a manager leaves it written down for its successor.
struct ProcessRecord {
  pid_t pid = 0;
  /// In clock ticks since boot.
  std::uint64_t startTime = 0;
  /// The socket file name of its job's label.
  std::string name;
};

/// The folder "processes" of the manager's directory. Main thread only.
class ProcessRecords {
 public:
  /// Opens the folder, and makes it where it is missing. 0, or an errno value.
  [[nodiscard]] int open(int directory);

  /// Writes a record for a process that is not reaped yet. 0, or an errno value with nothing left behind: a successor
  /// of this manager would not know of the process.
  [[nodiscard]] int put(pid_t pid, std::string_view name) const;
  void remove(pid_t pid) const noexcept;

  /// All records that are whole. Others are removed.
  [[nodiscard]] std::vector<ProcessRecord> read() const;

 private:
  Fd folder_;
};

}  // namespace vanto::manager
