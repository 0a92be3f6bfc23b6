// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "tolvend/Alarms.h"
#include "tolvend/ProcessRecords.h"
#include "tolvend/Watch.h"
#include "value/Fd.h"

namespace vanto::manager {

/// Processes that a manager started which is no more. They are asked to end, and killed when they do not; what
/// they leave behind is killed when they have ended. Main thread only.
class FormerProcesses {
 public:
  FormerProcesses(Alarms& alarms, const ProcessRecords& records, std::uint64_t patience)
      : records_(records), patience_(patience), killing_(alarms, [this] { killAll(); }) {}

  /// Asks those that are still there to end. Calls `gone` each time one has ended.
  void end(std::function<void()> gone);

  /// Whether a process of the job of that socket file name is left.
  [[nodiscard]] bool hasAny(std::string_view name) const noexcept;
  [[nodiscard]] bool isEmpty() const noexcept { return processes_.empty(); }

 private:
  struct Process {
    ProcessRecord record;
    Fd descriptor;
    Watch watch;
  };

  void add(const ProcessRecord& record);
  void remove(const Process* process);
  void killAll();

  const ProcessRecords& records_;
  const std::uint64_t patience_;
  std::vector<std::unique_ptr<Process>> processes_;
  std::function<void()> gone_;
  Alarm killing_;
};

}  // namespace vanto::manager
