// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileExplainCommand.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "sandbox/PolicyExplanation.h"
#include "sandbox/PortRange.h"
#include "vanto/KernelOutlook.h"
#include "vanto/MoveLimits.h"
#include "vanto/ProfileDocument.h"
#include "vanto/RealPlaces.h"
#include "vanto/RulePlace.h"
#include "vanto/ServicePath.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::string rightNames() {
  RightSet rights;
  for (const Right right : allRights) rights |= right;
  return namesOf(rights, ", ");
}

/// A statement that would allow something, but gets no rule, or none with the right that was asked for.
struct IdleStatement {
  AllowingStatement statement;
  /// Visible.
  std::string reason;
};

/// What a policy says of one right.
struct Answer {
  Right right = Right::Read;
  /// The statements that allow it.
  Explanation allowing;
  std::vector<IdleStatement> idle;

  [[nodiscard]] bool isDenied() const noexcept { return allowing.empty() && idle.empty(); }
};

/// What a policy says of one right and those that go with it.
struct Reply {
  /// First of the right that was asked for.
  std::vector<Answer> answers;
  /// The directory that would be changed by removing or renaming; otherwise empty.
  std::string directory;
  /// Of renaming.
  std::vector<MoveLimit> limits;
};

/// What is asked of a path on this machine.
struct PathQuestion {
  RealPolicy real;
  /// Where the kernel looks; empty where there is no such place.
  std::string place;
  /// What is there at the path itself.
  RulePlace used = RulePlace::Absent;
};

PathQuestion questionOf(const Policy& policy, Right right, const std::string& subject) {
  std::error_code error;
  const std::string path = ServicePath::absolute(subject, error);
  const std::string place(decidingPlace(right, path));
  // A link itself is removed, not what it leads to.
  const bool isLink = place != path && std::filesystem::is_symlink(path, error);
  return {realPolicyOf(policy), place.empty() ? place : realPath(place), isLink ? RulePlace::File : rulePlaceOf(path)};
}

/// Why a statement gives `right` nowhere; empty where it does.
std::string whyIdle(const AllowingStatement& statement, Right right, const ProfileValues& values) {
  if (values.isPlaceholderIn(statement.subject)) return {};
  const RulePlace place = rulePlaceOf(statement.subject);
  if (idleRightsAt(place, right).isEmpty()) return {};
  if (place == RulePlace::Absent)
    return visible(statement.subject) + " is not there, and what is absent when the profile is entered gets no rule";
  return visible(statement.subject) + " is a file, where " + std::string(nameOf(right)) + " is without effect";
}

/// The statements about a path on this machine.
Answer answerAbout(const PathQuestion& question, Right right, const ProfileValues& values) {
  Answer answer{right, {}, {}};
  for (AllowingStatement& statement : explainPath(question.real.policy, right, question.place)) {
    std::string reason = whyIdle(statement, right, values);
    if (reason.empty()) {
      answer.allowing.push_back(std::move(statement));
    } else {
      answer.idle.push_back({std::move(statement), std::move(reason)});
    }
  }
  for (const RefusedRule& refused : question.real.refused) {
    Policy alone;
    alone.paths = {refused.rule};
    for (AllowingStatement& statement : explainPath(alone, right, question.place)) {
      answer.idle.push_back(
          {std::move(statement), visible(refused.path) + " gets no rule: " + visible(refused.reason)});
    }
  }
  return answer;
}

/// What is asked for beside `right`: the kernel opens for reading what it executes, and what is renamed leaves a
/// directory and comes to one.
std::vector<Right> companionsOf(Right right) {
  if (right == Right::Execute) return {Right::Read};
  if (right == Right::Rename) return {Right::Create, Right::Remove};
  return {};
}

Reply replyAbout(const PathQuestion& question, Right right, const ProfileValues& values) {
  Reply reply;
  reply.answers.push_back(answerAbout(question, right, values));
  for (const Right companion : companionsOf(right)) reply.answers.push_back(answerAbout(question, companion, values));
  if (right == Right::Remove || right == Right::Rename) reply.directory = question.place;
  if (right == Right::Rename) reply.limits = moveLimitsOf(question.real.policy, question.place, question.used);
  return reply;
}

/// What is to be said; none with a visible text in `problem` when what is asked makes no sense.
std::optional<Reply> replyTo(const Policy& policy, Right right, const std::string& subject, const ProfileValues& values,
                             std::string& problem) {
  const std::string name(nameOf(right));
  if (isRightToPath(right)) {
    if (!subject.empty()) return replyAbout(questionOf(policy, right, subject), right, values);
    problem = name + " is about a path, which is missing";
  } else if (isRightToPort(right)) {
    const auto ports = portRangeOf(subject);
    if (ports && ports->size() == 1) return Reply{{{right, explainPort(policy, right, ports->first), {}}}, {}, {}};
    problem = name + " is about a port; write a number from 0 to 65535";
  } else {
    if (subject.empty()) return Reply{{{right, explainRight(policy, right), {}}}, {}, {}};
    problem = name + " is about no path and no port; leave out " + visible(subject);
  }
  return std::nullopt;
}

/// "locked.sb:2: include base", and what of the base profile it is.
std::string lineOf(const ProfileDocument& document, const AllowingStatement& statement, Right right) {
  std::string text = document.placeOf(statement.line) + ": " + document.statementAt(statement.line.line);
  if (statement.line.base.empty()) return text;
  text += " (" + std::string(nameOf(right));
  return text + (statement.subject.empty() ? "" : " " + visible(statement.subject)) + ")";
}

void printAllowed(Console& console, const ProfileDocument& document, const Answer& answer, const std::string& begin) {
  std::string last;
  for (const AllowingStatement& statement : answer.allowing) {
    const std::string line = lineOf(document, statement, answer.right);
    // Two paths of one statement can be one place.
    if (line == last) continue;
    console.printLine((last.empty() ? begin : "also by    ") + line);
    last = line;
  }
}

void printIdle(Console& console, const ProfileDocument& document, const Answer& answer) {
  for (const IdleStatement& idle : answer.idle) {
    console.printLine("would be allowed by " + lineOf(document, idle.statement, answer.right));
    console.printLine("but " + idle.reason);
  }
}

/// What no statement allows, where `denied` are those of the rights that were asked for.
std::string lackOf(const Reply& reply, RightSet denied) {
  if (!reply.directory.empty()) return namesOf(denied, " or ") + " in " + visible(reply.directory);
  const bool isOfReading = reply.answers.size() > 1 && denied.contains(Right::Read);
  return isOfReading ? namesOf(denied, " or ") + " there, and executing needs both" : "it";
}

/// What is possible with rename, but without `denied`.
const char* movesWithout(RightSet denied) noexcept {
  if (!denied.contains(Right::Remove)) return "things can be moved and linked from there, and none to there";
  if (!denied.contains(Right::Create)) return "things can be moved and linked to there, and only linked from there";
  return "things can be linked from there, and no more";
}

void printDenied(Console& console, const ProfileDocument& document, const Reply& reply) {
  RightSet denied;
  for (const Answer& answer : reply.answers) {
    if (answer.isDenied()) denied |= answer.right;
  }
  console.printLine("denied: no statement of " + document.name + " allows " + lackOf(reply, denied));
  const Right asked = reply.answers.front().right;
  if (asked == Right::Rename && !denied.contains(asked)) console.printLine(movesWithout(denied));
  const Right first = std::ranges::find_if(reply.answers, &Answer::isDenied)->right;
  const std::string opening = openingOf(outlooksOf(*document.result.policy), first);
  if (!opening.empty()) console.printLine("but " + opening);
}

void printLimits(Console& console, const std::vector<MoveLimit>& limits) {
  for (const MoveLimit& limit : limits) {
    const bool isTo = limit.way == MoveLimit::Way::To;
    const std::string kernels = limit.firstLinux.empty() ? "" : "; Linux before " + limit.firstLinux + " does not mind";
    console.printLine("but not " + std::string(isTo ? "to " : "from ") + visible(limit.directory) + ", " +
                      (isTo ? "which has more: " : "which lacks ") + namesOf(limit.rights, ", ") + " (EXDEV" + kernels +
                      ")");
  }
}

ExitStatus print(Console& console, const ProfileDocument& document, const Reply& reply) {
  const std::vector<Answer>& answers = reply.answers;
  if (std::ranges::any_of(answers, &Answer::isDenied)) {
    printDenied(console, document, reply);
    return ExitStatus::Found;
  }
  if (std::ranges::any_of(answers, [](const Answer& answer) { return answer.allowing.empty(); })) {
    for (const Answer& answer : answers) {
      if (answer.allowing.empty()) printIdle(console, document, answer);
    }
    return ExitStatus::Unsettled;
  }
  printAllowed(console, document, answers.front(), "allowed by ");
  for (const Answer& answer : std::span(answers).subspan(1)) {
    printAllowed(console, document, answer, "with " + std::string(nameOf(answer.right)) + ", allowed by ");
  }
  printLimits(console, reply.limits);
  return ExitStatus::Fine;
}

}  // namespace

ExitStatus ProfileExplainCommand::run(Console& console) const {
  std::string problem;
  const std::optional<Right> asked = rightNamed(right);
  if (!asked) problem = visible(right) + ": there is no such right; write one of " + rightNames();
  const std::optional<ProfileValues> values = asked ? ProfileValues::of(choice, problem) : std::nullopt;
  const auto document = values ? ProfileDocument::readGood(file, *values, problem) : std::nullopt;
  const auto reply = document ? replyTo(*document->result.policy, *asked, subject, *values, problem) : std::nullopt;
  if (!reply) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  const ExitStatus status = print(console, *document, *reply);
  if (status == ExitStatus::Fine) return status;
  RightSet rights;
  for (const Answer& answer : reply->answers) rights |= answer.right;
  const std::string unknown = values->placeholdersIn(*document->result.policy, rights);
  if (!unknown.empty()) console.complain("unless it is beneath what " + unknown + " stands for; say with --bundle");
  return status;
}

}  // namespace vanto::tool
