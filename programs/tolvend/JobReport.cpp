// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobReport.h"

#include <algorithm>
#include <string_view>

#include "dispatch/Workers.h"
#include "tolvend/DictionaryBuilder.h"
#include "value/Utf8.h"

namespace vanto::manager {

namespace {

constexpr std::size_t linesBeforeFailure = 5;

/// A time of CLOCK_MONOTONIC as one of CLOCK_REALTIME.
std::uint64_t realTimeOf(std::uint64_t time) noexcept {
  return realtimeNow() - (monotonicNow() - time);
}

std::int64_t signedOf(std::uint64_t number) noexcept {
  return static_cast<std::int64_t>(number);
}

Ref<vanto_object> newArray() {
  return Ref<vanto_object>::adopt(vanto_array_create(nullptr, 0));
}

Ref<vanto_object> instanceReport(const JobController::Instance& instance) {
  DictionaryBuilder report;
  report.number("pid", instance.pid).text("state", stateName(instance.state)).number("since", signedOf(instance.since));
  if (instance.confinement) report.text("confinement", nameOf(*instance.confinement));
  if (!instance.receipt.empty()) report.text("receipt", instance.receipt);
  return report.take();
}

Ref<vanto_object> instancesReport(const JobController& job) {
  const Ref<vanto_object> reports = newArray();
  for (const JobController::Instance& instance : job.instances()) {
    vanto_array_append_value(reports.get(), instanceReport(instance).get());
  }
  return reports;
}

/// Nanoseconds until the next start may be; 0 unless it pauses.
std::uint64_t pauseLeft(const JobController& job) noexcept {
  const std::uint64_t now = monotonicNow();
  return job.state() == LifeCycle::State::Pausing && job.earliestStart() > now ? job.earliestStart() - now : 0;
}

template <typename Iterator>
Ref<vanto_object> reportsOf(Iterator first, Iterator last) {
  const Ref<vanto_object> reports = newArray();
  for (; first != last; ++first) vanto_array_append_value(reports.get(), lineReport(*first).get());
  return reports;
}

void addSocketLoss(DictionaryBuilder& report, const JobController& job) {
  const JobController::SocketLoss* loss = job.socketLoss();
  if (loss == nullptr) return;
  DictionaryBuilder told;
  told.text("text", loss->text).number("time", signedOf(loss->time)).truth("published", loss->isMended);
  report.object("socket", told.take());
}

}  // namespace

Ref<vanto_object> failureReport(const JobController& job, const StartFailure& failure) {
  // The pause that it brought may be over, or have been ended.
  StartFailure told = failure;
  told.pause = pauseLeft(job);
  DictionaryBuilder report;
  report.text("stage", stageName(failure.stage))
      .text("text", failureText(told))
      .number("time", signedOf(realTimeOf(failure.time)));
  if (failure.error != 0) report.number("error", failure.error);
  if (failure.exitStatus >= 0) report.number("status", failure.exitStatus);
  if (failure.signal >= 0) report.number("signal", failure.signal);
  if (failure.pause != 0) report.number("pause", signedOf(failure.pause));
  if (failure.ran != 0) report.number("ran", signedOf(failure.ran));
  if (const pid_t pid = job.pidOf(failure); pid != 0) report.number("pid", pid);
  return report.take();
}

Ref<vanto_object> jobState(const JobController& job) {
  DictionaryBuilder report;
  report.text("label", job.job().label)
      .text("name", job.job().name)
      .text("program", job.job().program)
      .text("state", stateName(job.state()))
      .object("instances", instancesReport(job))
      .truth("multiple", job.job().isMultiple)
      .number("starts", signedOf(job.starts()))
      .number("failures", signedOf(job.failures()));
  if (const std::uint64_t left = pauseLeft(job); left != 0) report.number("retry", signedOf(left));
  if (const StartFailure* failure = job.lastFailure()) report.object("failure", failureReport(job, *failure));
  addSocketLoss(report, job);
  return report.take();
}

namespace {

/// As it came, but for what no string can hold: bytes that are no UTF-8, and NUL.
std::string textOf(std::string_view line) {
  std::string text;
  while (!line.empty()) {
    std::size_t length = 1;
    while (length <= 4 && !isValidUtf8(line.substr(0, length))) length++;
    const bool isCharacter = length <= 4 && line.front() != '\0';
    if (!isCharacter) length = 1;
    text += isCharacter ? line.substr(0, length) : "\xef\xbf\xbd";
    line.remove_prefix(length);
  }
  return text;
}

}  // namespace

Ref<vanto_object> lineReport(const LogLine& line) {
  DictionaryBuilder report;
  report.number("time", signedOf(line.time)).number("pid", line.pid).text("text", textOf(line.text));
  return report.take();
}

Ref<vanto_object> linesReport(const JobController& job) {
  return reportsOf(job.log().lines().begin(), job.log().lines().end());
}

Ref<vanto_object> whyReport(const JobController& job) {
  DictionaryBuilder report;
  report.text("label", job.job().label).text("state", stateName(job.state()));
  const auto& lines = job.log().lines();
  auto last = lines.end();
  if (const StartFailure* failure = job.lastFailure()) {
    report.object("failure", failureReport(job, *failure));
    const std::uint64_t time = realTimeOf(failure->time);
    while (last != lines.begin() && std::prev(last)->time > time) --last;
  }
  const auto count = std::min<std::ptrdiff_t>(last - lines.begin(), linesBeforeFailure);
  report.object("lines", reportsOf(last - count, last));
  addSocketLoss(report, job);
  return report.take();
}

}  // namespace vanto::manager
