// SPDX-License-Identifier: Apache-2.0
#include "vanto/StatusCommand.h"

#include <cstddef>
#include <optional>
#include <set>

#include <VantoService/PlistArray.h>

#include "vanto/DocumentForm.h"
#include "vanto/JobDocument.h"
#include "vanto/JobLabel.h"
#include "vanto/StatusBoard.h"
#include "vanto/StatusWatch.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// Asks managers once, and prints what they answer.
class Snapshot {
 public:
  Snapshot(const StatusCommand& command, Console& console, std::set<std::string> labels)
      : command_(command), console_(console), labels_(labels), missing_(std::move(labels)) {}

  [[nodiscard]] ExitStatus of(const std::vector<ManagerClient*>& managers) {
    StatusBoard board(console_, managers.size() > 1 ? DomainColumn::Shown : DomainColumn::Hidden);
    for (ManagerClient* manager : managers) ask(*manager, board);
    if (command_.isJson) {
      printJson();
    } else if (count_ > 0) {
      board.print();
    } else if (console_.output().isTerminal && labels_.empty()) {
      console_.printLine(console_.styled(Style::Dim, "no jobs"));
    }
    for (const std::string& label : missing_) fail(visible(label) + ": no job of that label is loaded");
    return status_;
  }

 private:
  void fail(const std::string& problem) {
    console_.complain(problem);
    status_ = ExitStatus::Failed;
  }

  void ask(ManagerClient& manager, StatusBoard& board) {
    OrderFault fault;
    const IpcReference reply = manager.send(Order("status"), fault);
    if (!reply) return fail(fault.text);
    ReplyReader reader(reply.get());
    const std::vector<JobState> jobs = JobState::readAll(reader);
    if (!reader.isFine()) return fail(manager.malformed(reader.problem()).text);
    const vanto_object_t objects = vanto_dictionary_get_value(reply.get(), "jobs");
    for (std::size_t index = 0; index < jobs.size(); ++index) {
      if (!labels_.empty() && !labels_.contains(jobs[index].label)) continue;
      missing_.erase(jobs[index].label);
      ++count_;
      board.set(manager.domain(), jobs[index]);
      documents_->append(createJobDocument(vanto_array_get_value(objects, index), manager.domain()).get());
    }
  }

  void printJson() {
    std::string problem;
    if (const std::optional<std::string> text = writeDocument(*documents_, DocumentForm::Json, problem)) {
      console_.print(*text);
    } else {
      fail(problem);
    }
  }

  const StatusCommand& command_;
  Console& console_;
  std::set<std::string> labels_;
  /// Labels that no manager has told of.
  std::set<std::string> missing_;
  Ref<PlistMutableArray> documents_ = PlistMutableArray::create();
  std::size_t count_ = 0;
  ExitStatus status_ = ExitStatus::Fine;
};

/// The labels that the arguments stand for. What is wrong with others is added to `problems`.
std::set<std::string> labelsOf(const std::vector<std::string>& arguments, std::vector<std::string>& problems) {
  std::set<std::string> labels;
  for (const std::string& argument : arguments) {
    std::string problem;
    if (const std::optional<std::string> label = labelOf(argument, problem)) {
      labels.insert(*label);
    } else {
      problems.push_back(problem);
    }
  }
  return labels;
}

}  // namespace

ExitStatus StatusCommand::run(Console& console) const {
  std::vector<std::string> problems;
  const std::set<std::string> wanted = labelsOf(labels, problems);
  ManagerSearch search(choice);
  std::vector<ManagerClient*> managers;
  if (isWatching && wanted.size() == 1) {
    // Its own manager tells of it alone.
    std::string problem;
    const auto found = search.find(*wanted.begin(), problem);
    if (found) {
      managers.push_back(found->manager);
    } else {
      problems.push_back(problem);
    }
  } else if (labels.empty() || !wanted.empty()) {
    managers = search.managers(problems);
  }
  for (const std::string& problem : problems) console.complain(problem);
  if (managers.empty()) return ExitStatus::Failed;
  const ExitStatus status = problems.empty() ? ExitStatus::Fine : ExitStatus::Failed;
  if (!isWatching) return worse(status, Snapshot(*this, console, wanted).of(managers));
  const StatusWatch::Form form = isJson ? StatusWatch::Form::Json : StatusWatch::Form::Table;
  return StatusWatch(console, form, managers, wanted).run();
}

}  // namespace vanto::tool
