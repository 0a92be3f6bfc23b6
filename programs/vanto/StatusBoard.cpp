// SPDX-License-Identifier: Apache-2.0
#include "vanto/StatusBoard.h"

#include <algorithm>

namespace vanto::tool {

void StatusBoard::set(ManagerDomain domain, JobState job) {
  const Key key(job.label, domain);
  jobs_.insert_or_assign(key, std::move(job));
}

void StatusBoard::remove(ManagerDomain domain, const std::string& label) {
  jobs_.erase({label, domain});
}

void StatusBoard::fitColumns() {
  columns_.fit(JobRow::headline(column_));
  for (const auto& [key, job] : jobs_) columns_.fit(JobRow::of(job, key.second, column_));
}

std::string StatusBoard::lineOf(const Row& row) const {
  return columns_.line(row, console_.output());
}

void StatusBoard::print() {
  fitColumns();
  const bool isTerminal = console_.output().isTerminal;
  // The line behind the last one is the cursor's.
  const std::size_t room = std::max<std::size_t>(console_.output().lines, 4) - 3;
  const std::size_t count = isTerminal ? std::min(jobs_.size(), room) : jobs_.size();
  console_.printLine(console_.styled(Style::Bold, lineOf(JobRow::headline(column_))));
  auto job = jobs_.begin();
  for (std::size_t index = 0; index < count; ++index, ++job) {
    console_.printLine(lineOf(JobRow::of(job->second, job->first.second, column_)));
  }
  linesShown_ = count + 1;
  if (count < jobs_.size()) {
    console_.printLine(console_.styled(Style::Dim, "and " + std::to_string(jobs_.size() - count) + " more"));
    ++linesShown_;
  }
  console_.flush();
}

void StatusBoard::redraw() {
  console_.print("\x1b[" + std::to_string(linesShown_) + "F\x1b[J");
  print();
}

void StatusBoard::printRow(ManagerDomain domain, const std::string& label) {
  const auto job = jobs_.find({label, domain});
  const Row row =
      job == jobs_.end() ? JobRow::removed(label, domain, column_) : JobRow::of(job->second, domain, column_);
  columns_.fit(row);
  console_.printLine(lineOf(row));
  console_.flush();
}

}  // namespace vanto::tool
