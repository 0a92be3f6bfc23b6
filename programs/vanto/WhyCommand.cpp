// SPDX-License-Identifier: Apache-2.0
#include "vanto/WhyCommand.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "vanto/ConfinementText.h"
#include "vanto/DurationText.h"
#include "vanto/JobLabel.h"
#include "vanto/LocalTime.h"
#include "vanto/LogLine.h"
#include "vanto/StageText.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// Six lines and these make ten with the remedy.
constexpr std::size_t mostLogLines = 3;

/// What a manager answers to "why".
struct Story {
  std::optional<JobFailure> failure;
  std::vector<LogLine> lines;
};

ExitStatus fail(Console& console, const std::string& problem) {
  console.complain(problem);
  return ExitStatus::Failed;
}

std::optional<Story> askFor(ManagerClient& manager, const std::string& label, OrderFault& fault) {
  const IpcReference reply = manager.send(Order("why", label), fault);
  if (!reply) return std::nullopt;
  ReplyReader reader(reply.get());
  Story story;
  reader.dictionaryIfAny("failure", [&story](ReplyReader& failure) { story.failure = JobFailure::read(failure); });
  story.lines = LogLine::readAll(reader);
  if (reader.isFine()) return story;
  fault = manager.malformed(reader.problem());
  return std::nullopt;
}

std::string countText(std::int64_t count, const char* one, const char* many) {
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

std::string runText(const JobFailure& failure) {
  std::string text = failure.pid ? "process " + std::to_string(*failure.pid) : std::string("no process");
  if (failure.ran) text += ", which ran " + durationText(*failure.ran);
  return text;
}

std::string nextText(const JobState& job) {
  if (job.state == "held") return "not before vanto start";
  if (job.retry) return "in " + durationText(*job.retry) + ", if a client waits then";
  if (job.state == "starting" || job.state == "running") return "it is " + job.state + " again";
  return job.state == "resting" ? "when the next client comes" : "it is " + visible(job.state);
}

/// Nothing where the socket was never lost.
void tellOfSocket(Console& console, const JobState& job) {
  if (!job.socketLoss) return;
  console.printLine("  socket   " + localTimeText(job.socketLoss->time) + ": " + visible(job.socketLoss->text));
}

/// Nothing where no process runs of which it is known.
void tellOfConfinement(Console& console, const JobState& job) {
  for (const std::string& line : confinementLinesOf(job)) console.printLine(line);
}

void tell(Console& console, const JobState& job, const Story& story) {
  const JobFailure& failure = *story.failure;
  const StageText& stage = StageText::of(failure.stage);
  const auto line = [&console](const char* what, const std::string& text) {
    console.printLine(std::string("  ") + what + text);
  };
  console.printLine(console.styled(Style::Bold, visible(job.label)) + ": " + visible(job.state) + ", with " +
                    countText(job.failures, "failure", "failures") + " and " +
                    countText(job.starts, "start", "starts"));
  line("when     ", localTimeText(failure.time) + ", " + durationText(elapsedSince(failure.time)) + " ago");
  line("asked    ", "to run " + visible(job.program) + ": " + runText(failure));
  line("stage    ", visible(failure.stage) + ": " + std::string(stage.meaning));
  line("cause    ", failure.cause());
  line("next     ", nextText(job));
  const std::size_t first = story.lines.size() - std::min(story.lines.size(), mostLogLines);
  for (std::size_t index = first; index < story.lines.size(); ++index) line("log      ", story.lines[index].line());
  tellOfSocket(console, job);
  line("do       ", std::string(stage.remedy));
}

}  // namespace

ExitStatus WhyCommand::run(Console& console) const {
  std::string problem;
  ManagerSearch search(choice);
  const std::optional<std::string> name = labelOf(label, problem);
  const auto found = name ? search.find(*name, problem) : std::nullopt;
  if (!found) return fail(console, problem);
  OrderFault fault;
  const std::optional<Story> story = askFor(*found->manager, *name, fault);
  if (!story) return fail(console, visible(*name) + ": " + fault.text);
  if (!story->failure) {
    const bool isHeld = found->state.state == "held";
    console.printLine(visible(*name) + ": " + visible(found->state.state) + ", and has not failed" +
                      (isHeld ? "; no client starts it until vanto start" : ""));
    tellOfSocket(console, found->state);
    tellOfConfinement(console, found->state);
    return found->state.socketLoss && !found->state.socketLoss->isMended ? ExitStatus::Found : ExitStatus::Fine;
  }
  tell(console, found->state, *story);
  tellOfConfinement(console, found->state);
  return ExitStatus::Found;
}

}  // namespace vanto::tool
