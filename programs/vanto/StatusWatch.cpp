// SPDX-License-Identifier: Apache-2.0
#include "vanto/StatusWatch.h"

#include <chrono>
#include <optional>
#include <utility>

#include <VantoService/TemporaryScope.h>

#include "vanto/JobDocument.h"
#include "vanto/JsonText.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// How often the ages on a terminal are brought up to date.
constexpr std::chrono::milliseconds tick{1000};

}  // namespace

StatusWatch::StatusWatch(Console& console, Form form, std::vector<ManagerClient*> managers,
                         std::set<std::string> labels)
    : console_(console),
      form_(form),
      managers_(std::move(managers)),
      labels_(std::move(labels)),
      board_(console, managers_.size() > 1 ? DomainColumn::Shown : DomainColumn::Hidden),
      missing_(labels_) {}

ExitStatus StatusWatch::run() {
  for (std::size_t index = 0; index < managers_.size(); ++index) {
    if (begin(index)) running_.insert(index);
  }
  for (const std::string& label : missing_) console_.complain(visible(label) + ": no job of that label is loaded yet");
  if (form_ == Form::Table) board_.print();
  console_.flush();
  const bool isLive = form_ == Form::Table && console_.output().isTerminal;
  while (!running_.empty() && console_.isOutputFine()) {
    const TemporaryScope scope;
    if (!isLive) {
      take(inbox_->take());
      continue;
    }
    // Whatever has come meanwhile is drawn at once.
    for (auto item = inbox_->take(tick); item; item = inbox_->takeIfAny()) take(*item);
    if (!running_.empty()) board_.redraw();
  }
  return ExitStatus::Failed;
}

bool StatusWatch::begin(std::size_t index) {
  ManagerClient& manager = *managers_[index];
  manager.listen(inbox_, index);
  OrderFault fault;
  const Order order = labels_.size() == 1 ? Order("watch", *labels_.begin()) : Order("watch");
  const IpcReference reply = manager.send(order, fault);
  ReplyReader reader(reply.get());
  const std::vector<JobState> jobs = JobState::readAll(reader);
  if (!reply || !reader.isFine()) {
    console_.complain(reply ? manager.malformed(reader.problem()).text : fault.text);
    return false;
  }
  for (std::size_t job = 0; job < jobs.size(); ++job) {
    if (!isAskedFor(jobs[job].label)) continue;
    set(manager.domain(), jobs[job]);
    const vanto_object_t array = vanto_dictionary_get_value(reply.get(), "jobs");
    if (form_ == Form::Json) show(manager.domain(), jobs[job].label, vanto_array_get_value(array, job));
  }
  return true;
}

void StatusWatch::set(ManagerDomain domain, const JobState& job) {
  missing_.erase(job.label);
  board_.set(domain, job);
}

void StatusWatch::take(const MessageInbox::Item& item) {
  if (!running_.contains(item.sender)) return;
  if (vanto_kind(item.content.get()) == VANTO_KIND_ERROR) {
    end(item.sender, managers_[item.sender]->name() + " has ended");
  } else {
    takeChange(item.sender, item.content.get());
  }
}

void StatusWatch::takeChange(std::size_t sender, vanto_object_t change) {
  const ManagerClient& manager = *managers_[sender];
  ReplyReader reader(change);
  const bool isRemoved = vanto_bool_get_value(vanto_dictionary_get_value(change, "removed"));
  JobState job;
  if (isRemoved) {
    job.label = reader.text("label");
  } else {
    job = JobState::read(reader);
  }
  if (!reader.isFine()) return end(sender, manager.malformed(reader.problem()).text);
  if (!isAskedFor(job.label)) return;
  if (isRemoved) {
    board_.remove(manager.domain(), job.label);
  } else {
    set(manager.domain(), job);
  }
  show(manager.domain(), job.label, change);
}

void StatusWatch::show(ManagerDomain domain, const std::string& label, vanto_object_t change) {
  if (form_ == Form::Json) {
    JsonProblem problem;
    console_.print(jsonLine(*createJobDocument(change, domain), problem));
    console_.flush();
  } else if (!console_.output().isTerminal) {
    board_.printRow(domain, label);
  }
}

void StatusWatch::end(std::size_t sender, const std::string& problem) {
  console_.complain(problem);
  running_.erase(sender);
}

bool StatusWatch::isAskedFor(const std::string& label) const {
  return labels_.empty() || labels_.contains(label);
}

}  // namespace vanto::tool
