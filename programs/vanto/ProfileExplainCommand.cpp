// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileExplainCommand.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "sandbox/PolicyExplanation.h"
#include "sandbox/PortRange.h"
#include "vanto/KernelOutlook.h"
#include "vanto/ProfileDocument.h"
#include "vanto/RealPlaces.h"
#include "vanto/RulePlace.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::string rightNames() {
  RightSet rights;
  for (const Right right : allRights) rights |= right;
  return namesOf(rights, ", ");
}

/// What a policy says of one right.
struct Answer {
  Right right = Right::Read;
  /// The statements that allow it.
  Explanation allowing;
  /// Those that would, but get no rule, or none with this right, where their path is absent or a file.
  Explanation idle;

  [[nodiscard]] bool isDenied() const noexcept { return allowing.empty() && idle.empty(); }
};

/// The statements about a path on this machine.
Answer answerAbout(const Policy& policy, Right right, const std::string& path, const ProfileValues& values) {
  Answer answer{right, {}, {}};
  for (AllowingStatement& statement : explainPath(policy, right, path)) {
    const bool isIdle =
        !values.isPlaceholderIn(statement.subject) && !idleRightsAt(rulePlaceOf(statement.subject), right).isEmpty();
    (isIdle ? answer.idle : answer.allowing).push_back(std::move(statement));
  }
  return answer;
}

/// What is to be said of each right that takes part; none with a visible text in `problem` when what is asked makes no
/// sense.
std::optional<std::vector<Answer>> answersOf(const Policy& policy, Right right, const std::string& subject,
                                             const ProfileValues& values, std::string& problem) {
  const std::string name(nameOf(right));
  if (isRightToPath(right)) {
    if (!subject.empty()) {
      const Policy real = withRealPaths(policy);
      std::vector<Answer> answers{answerAbout(real, right, realPath(subject), values)};
      // The kernel opens for reading what it executes.
      if (right == Right::Execute) answers.push_back(answerAbout(real, Right::Read, realPath(subject), values));
      return answers;
    }
    problem = name + " is about a path, which is missing";
  } else if (isRightToPort(right)) {
    const auto ports = portRangeOf(subject);
    if (ports && ports->size() == 1) return std::vector{Answer{right, explainPort(policy, right, ports->first), {}}};
    problem = name + " is about a port; write a number from 0 to 65535";
  } else {
    if (subject.empty()) return std::vector{Answer{right, explainRight(policy, right), {}}};
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
  for (const AllowingStatement& statement : answer.idle) {
    const bool isAbsent = rulePlaceOf(statement.subject) == RulePlace::Absent;
    console.printLine("would be allowed by " + lineOf(document, statement, answer.right));
    console.printLine("but " + visible(statement.subject) +
                      (isAbsent ? " is not there, and what is absent when the profile is entered gets no rule"
                                : " is a file, where " + std::string(nameOf(answer.right)) + " is without effect"));
  }
}

void printDenied(Console& console, const ProfileDocument& document, const std::vector<Answer>& answers) {
  RightSet denied;
  for (const Answer& answer : answers) {
    if (answer.isDenied()) denied |= answer.right;
  }
  const bool isOfReading = answers.size() > 1 && denied.contains(Right::Read);
  console.printLine("denied: no statement of " + document.name + " allows " +
                    (isOfReading ? namesOf(denied, " or ") + " there, and executing needs both" : "it"));
  const Right first = answers.front().isDenied() ? answers.front().right : answers.back().right;
  const std::string opening = openingOf(outlooksOf(*document.result.policy), first);
  if (!opening.empty()) console.printLine("but " + opening);
}

ExitStatus print(Console& console, const ProfileDocument& document, const std::vector<Answer>& answers) {
  if (std::ranges::any_of(answers, &Answer::isDenied)) {
    printDenied(console, document, answers);
    return ExitStatus::Found;
  }
  if (std::ranges::any_of(answers, [](const Answer& answer) { return answer.allowing.empty(); })) {
    for (const Answer& answer : answers) {
      if (answer.allowing.empty()) printIdle(console, document, answer);
    }
    return ExitStatus::Unsettled;
  }
  printAllowed(console, document, answers.front(), "allowed by ");
  if (answers.size() > 1) printAllowed(console, document, answers.back(), "with read, allowed by ");
  return ExitStatus::Fine;
}

}  // namespace

ExitStatus ProfileExplainCommand::run(Console& console) const {
  std::string problem;
  const std::optional<Right> asked = rightNamed(right);
  if (!asked) problem = visible(right) + ": there is no such right; there are " + rightNames();
  const std::optional<ProfileValues> values = asked ? ProfileValues::of(choice, problem) : std::nullopt;
  const auto document = values ? ProfileDocument::readGood(file, *values, problem) : std::nullopt;
  const auto answers = document ? answersOf(*document->result.policy, *asked, subject, *values, problem) : std::nullopt;
  if (!answers) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  const ExitStatus status = print(console, *document, *answers);
  if (status == ExitStatus::Fine) return status;
  RightSet rights;
  for (const Answer& answer : *answers) rights |= answer.right;
  const std::string unknown = values->placeholdersIn(*document->result.policy, rights);
  if (!unknown.empty()) console.complain("unless it is beneath what " + unknown + " stands for; say with --bundle");
  return status;
}

}  // namespace vanto::tool
