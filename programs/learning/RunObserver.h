// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "learning/RunRecord.h"

namespace vanto::learning {

/// Reads the trace of a run, line by line, into facts. It looks at nothing but the trace.
class RunObserver {
 public:
  enum class Outcome : std::uint8_t { Taken, NotUnderstood, TooMuch };

  /// `directory` is where the command starts.
  explicit RunObserver(std::string directory) : record_(std::move(directory)) {}

  /// Takes one line, without its line feed. After another outcome than Taken the facts are not whole.
  [[nodiscard]] Outcome take(std::string_view text);

  /// The process of the command; 0 before the first line.
  [[nodiscard]] std::int64_t command() const noexcept { return record_.processes.command(); }
  /// True once the command itself was executed.
  [[nodiscard]] bool hasBegun() const noexcept { return !record_.facts.program.empty(); }
  /// The error that its execution failed with last; empty for none.
  [[nodiscard]] const std::string& beginError() const noexcept { return beginError_; }

  /// What was seen, at the end of the trace; the observer is not used any more then.
  [[nodiscard]] RunFacts finish();

  /// The names of the calls that it reads.
  [[nodiscard]] static std::vector<std::string_view> calls();

 private:
  void read(const TraceLine& line);
  [[nodiscard]] Outcome takeWhole(const TraceLine& line, std::string_view text);
  [[nodiscard]] Outcome keepBegin(std::int64_t process, std::string_view text);
  [[nodiscard]] Outcome supersede(const TraceLine& line);
  [[nodiscard]] Outcome wait(const TraceLine& line, std::string_view text);
  void readWaiting(std::int64_t process);

  RunRecord record_;
  std::string beginError_;
  /// First parts of lines that others stand between the parts of.
  std::map<std::int64_t, std::string> begins_;
  /// Threads whose first part is of the thread that they go on as.
  std::set<std::int64_t> successors_;
  /// Calls of processes that nobody has said to have made yet: who makes one can return after its first calls.
  std::map<std::int64_t, std::vector<std::string>> waiting_;
  std::size_t waitingCount_ = 0;
};

}  // namespace vanto::learning
