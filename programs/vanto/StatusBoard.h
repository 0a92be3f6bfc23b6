// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "vanto/Columns.h"
#include "vanto/Console.h"
#include "vanto/JobRow.h"

namespace vanto::tool {

/// The table of jobs of `vanto status`, which can be kept up to date on a terminal.
class StatusBoard {
 public:
  StatusBoard(Console& console, DomainColumn column) : console_(console), column_(column) {}

  void set(ManagerDomain domain, JobState job);
  void remove(ManagerDomain domain, const std::string& label);

  /// Prints the table.
  void print();
  /// Prints it over the one that was printed last, on a terminal. What has no room on its screen is counted.
  void redraw();
  /// Prints the row of one job below the table, with the word "removed" when there is none.
  void printRow(ManagerDomain domain, const std::string& label);

 private:
  using Key = std::pair<std::string, ManagerDomain>;

  void fitColumns();
  [[nodiscard]] std::string lineOf(const Row& row) const;

  Console& console_;
  DomainColumn column_;
  Columns columns_;
  std::map<Key, JobState> jobs_;
  /// What redraw() takes away.
  std::size_t linesShown_ = 0;
};

}  // namespace vanto::tool
