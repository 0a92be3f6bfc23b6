// SPDX-License-Identifier: Apache-2.0
#include "vanto/Columns.h"

#include <algorithm>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr std::size_t gap = 2;
/// A cell is not cut to less: a line that wraps tells more than a stump.
constexpr std::size_t leastColumns = 8;
/// No column is wider. One identifier of a megabyte would otherwise add a megabyte of blanks to the row of each
/// service.
constexpr std::size_t mostColumns = 200;

}  // namespace

void Columns::fit(const Row& row) {
  for (std::size_t index = 0; index < row.size(); ++index) fit(index, columnsOf(row[index]));
}

void Columns::fit(std::size_t index, std::size_t columns) {
  if (widths_.size() <= index) widths_.resize(index + 1);
  widths_[index] = std::max(widths_[index], std::min(columns, mostColumns));
}

std::string Columns::line(const Row& row, const Display& display) const {
  std::string line;
  std::size_t used = 0;
  // What one cell takes, the last one lacks.
  const std::size_t most = std::max(leastColumns, display.columns / 2);
  for (std::size_t index = 0; index + 1 < row.size(); ++index) {
    const std::string cell = display.isTerminal ? cutToColumns(row[index], most) : row[index];
    const std::size_t columns = columnsOf(cell);
    std::size_t width = index < widths_.size() ? widths_[index] : 0;
    if (display.isTerminal) width = std::min(width, most);
    width = std::max(width, columns);
    line += cell;
    line.append(width - columns + gap, ' ');
    used += width + gap;
  }
  if (row.empty()) return line;
  const std::size_t room = display.columns > used ? display.columns - used : 0;
  line += display.isTerminal ? cutToColumns(row.back(), std::max(room, leastColumns)) : row.back();
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

void printTable(Console& console, const Row& headline, const std::vector<Row>& rows) {
  Columns columns;
  columns.fit(headline);
  for (const Row& row : rows) columns.fit(row);
  console.printLine(console.styled(Style::Bold, columns.line(headline, console.output())));
  for (const Row& row : rows) console.printLine(columns.line(row, console.output()));
}

}  // namespace vanto::tool
