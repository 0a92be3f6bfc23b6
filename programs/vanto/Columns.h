// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vanto/Console.h"

namespace vanto::tool {

/// One row of a table, its cells made by visible().
using Row = std::vector<std::string>;

/// The widths of the columns of a table. Rows can be fitted in before the first is printed, so that a long table needs
/// not wait for its last row.
class Columns {
 public:
  /// Makes the columns wide enough for `row`.
  void fit(const Row& row);
  /// Makes column `index` at least this wide, within reason.
  void fit(std::size_t index, std::size_t columns);

  /// `row` as a line, without a line end: two blanks between columns, none at its end. On a terminal the last cell is
  /// cut in its middle where the line would be too long, and each other one where it would take more than half of the
  /// line.
  [[nodiscard]] std::string line(const Row& row, const Display& display) const;

 private:
  std::vector<std::size_t> widths_;
};

/// Prints rows below a headline.
void printTable(Console& console, const Row& headline, const std::vector<Row>& rows);

}  // namespace vanto::tool
