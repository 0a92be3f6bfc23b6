// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileExplainCommand.h"

#include <optional>

#include "sandbox/PolicyExplanation.h"
#include "sandbox/PortRange.h"
#include "vanto/KernelOutlook.h"
#include "vanto/ProfileDocument.h"
#include "vanto/RealPlaces.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::string rightNames() {
  RightSet rights;
  for (const Right right : allRights) rights |= right;
  return namesOf(rights, ", ");
}

/// The statements that allow it; none with a visible text in `problem` when what is asked makes no sense.
std::optional<Explanation> explanationOf(const Policy& policy, Right right, const std::string& subject,
                                         std::string& problem) {
  const std::string name(nameOf(right));
  if (isRightToPath(right)) {
    if (!subject.empty()) return explainPath(withRealPaths(policy), right, realPath(subject));
    problem = name + " is about a path, which is missing";
  } else if (isRightToPort(right)) {
    const auto ports = portRangeOf(subject);
    if (ports && ports->size() == 1) return explainPort(policy, right, ports->first);
    problem = name + " is about a port; write a number from 0 to 65535";
  } else {
    if (subject.empty()) return explainRight(policy, right);
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

void printAllowed(Console& console, const ProfileDocument& document, const Explanation& explanation, Right right) {
  std::string last;
  for (const AllowingStatement& statement : explanation) {
    const std::string line = lineOf(document, statement, right);
    // Two paths of one statement can be one place.
    if (line == last) continue;
    console.printLine((last.empty() ? "allowed by " : "also by    ") + line);
    last = line;
  }
}

void printDenied(Console& console, const ProfileDocument& document, Right right) {
  console.printLine("denied: no statement of " + document.name + " allows it");
  const std::string opening = openingOf(outlooksOf(*document.result.policy), right);
  if (!opening.empty()) console.printLine("but " + opening);
}

}  // namespace

ExitStatus ProfileExplainCommand::run(Console& console) const {
  std::string problem;
  const std::optional<Right> asked = rightNamed(right);
  if (!asked) problem = visible(right) + ": there is no such right; there are " + rightNames();
  const std::optional<ProfileValues> values = asked ? ProfileValues::of(choice, problem) : std::nullopt;
  const auto document = values ? ProfileDocument::readGood(file, *values, problem) : std::nullopt;
  const auto explanation = document ? explanationOf(*document->result.policy, *asked, subject, problem) : std::nullopt;
  if (!explanation) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  if (!explanation->empty()) {
    printAllowed(console, *document, *explanation, *asked);
    return ExitStatus::Fine;
  }
  printDenied(console, *document, *asked);
  const std::string unknown = values->placeholdersIn(*document->result.policy, *asked);
  if (!unknown.empty()) console.complain("unless it is beneath what " + unknown + " stands for; say with --bundle");
  return ExitStatus::Found;
}

}  // namespace vanto::tool
