// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobRow.h"

#include <utility>

#include "vanto/DurationText.h"
#include "vanto/LocalTime.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

Row joined(std::string label, const char* domain, DomainColumn column, Row rest) {
  Row row{std::move(label)};
  if (column == DomainColumn::Shown) row.emplace_back(domain);
  for (std::string& cell : rest) row.push_back(std::move(cell));
  return row;
}

/// The first process, and how many others there are.
std::string processText(const JobState& job) {
  if (job.instances.empty()) return "-";
  std::string text = std::to_string(job.instances.front().pid);
  if (job.instances.size() > 1) text += " +" + std::to_string(job.instances.size() - 1);
  return text;
}

/// The weakest that is known of its processes.
std::string confinementText(const JobState& job) {
  const JobState::Instance* weakest = job.weakestInstance();
  return weakest == nullptr ? "-" : visible(*weakest->confinement);
}

/// While no client can come at all, what went wrong before is no news.
std::string failureText(const JobState& job) {
  if (job.socketLoss && !job.socketLoss->isMended) return visible(job.socketLoss->text);
  return job.failure ? visible(job.failure->text) : "-";
}

}  // namespace

Row JobRow::headline(DomainColumn column) {
  return joined("LABEL", "DOMAIN", column, {"STATE", "PID", "SINCE", "CONFINED", "STARTS", "FAILURES", "LAST FAILURE"});
}

Row JobRow::of(const JobState& job, ManagerDomain domain, DomainColumn column) {
  const std::string age = job.instances.empty() ? "-" : durationText(elapsedSince(job.instances.front().since));
  return joined(visible(job.label), nameOf(domain), column,
                {visible(job.state), processText(job), age, confinementText(job), std::to_string(job.starts),
                 std::to_string(job.failures), failureText(job)});
}

Row JobRow::removed(const std::string& label, ManagerDomain domain, DomainColumn column) {
  return joined(visible(label), nameOf(domain), column, {"removed", "-", "-", "-", "-", "-", "-"});
}

}  // namespace vanto::tool
