// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileDiffCommand.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "sandbox/PolicyDifference.h"
#include "vanto/Columns.h"
#include "vanto/ProfileDocument.h"
#include "vanto/RealPlaces.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

using Kind = PolicyChange::Kind;

const char* nameOf(Kind kind) noexcept {
  switch (kind) {
    case Kind::Allowed:
      return "newly allowed";
    case Kind::NoLongerAllowed:
      return "newly denied";
    case Kind::Required:
      return "now required";
    case Kind::NoLongerRequired:
      break;
  }
  return "no longer required";
}

bool isOfNewer(Kind kind) noexcept {
  return kind == Kind::Allowed || kind == Kind::Required;
}

/// True when a service can do more after the change, be it on some kernels only.
bool opens(const PolicyChange& change) noexcept {
  return change.kind == Kind::Allowed || change.kind == Kind::NoLongerRequired;
}

Row rowOf(const PolicyChange& change, const ProfileDocument& older, const ProfileDocument& newer) {
  const ProfileDocument& document = isOfNewer(change.kind) ? newer : older;
  return {nameOf(change.kind), std::string(vanto::nameOf(change.right)),
          change.line.line == 0 ? document.name : document.placeOf(change.line),
          change.subject.empty() ? "-" : visible(change.subject)};
}

void warnOfPlaceholders(Console& console, const ProfileValues& values, const Policy& policy) {
  RightSet rights;
  for (const Right right : allRights) rights |= right;
  const std::string unknown = values.placeholdersIn(policy, rights);
  if (unknown.empty()) return;
  console.complain("what " + unknown + " stands for is not known, so some of it may be no change; say with --bundle");
}

/// What the changed profile says in vain.
void warnOfRefused(Console& console, const ProfileDocument& document, const RealPolicy& real) {
  for (const RefusedRule& refused : real.refused) {
    console.complain(document.placeOf(refused.rule.grants.front().line) + ": " + visible(refused.path) +
                     " gets no rule: " + visible(refused.reason));
  }
}

}  // namespace

ExitStatus ProfileDiffCommand::run(Console& console) const {
  std::string problem;
  const auto values = ProfileValues::of(choice, problem);
  const auto before = values ? ProfileDocument::readGood(older, *values, problem) : std::nullopt;
  const auto after = before ? ProfileDocument::readGood(newer, *values, problem) : std::nullopt;
  if (!after) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  const RealPolicy real = realPolicyOf(*after->result.policy);
  const std::vector<PolicyChange> changes = differenceOf(withRealPaths(*before->result.policy), real.policy);
  warnOfRefused(console, *after, real);
  if (changes.empty()) return ExitStatus::Fine;
  std::vector<Row> rows;
  for (const PolicyChange& change : changes) rows.push_back(rowOf(change, *before, *after));
  printTable(console, {"CHANGE", "RIGHT", "LINE", "WHERE"}, rows);
  warnOfPlaceholders(console, *values, *after->result.policy);
  return std::ranges::any_of(changes, opens) ? ExitStatus::Found : ExitStatus::Fine;
}

}  // namespace vanto::tool
