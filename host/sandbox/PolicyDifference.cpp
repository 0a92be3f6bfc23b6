// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyDifference.h"

#include "sandbox/PolicyExplanation.h"

namespace vanto {
namespace {

using Kind = PolicyChange::Kind;

void addPaths(const Policy& policy, const Policy& other, Kind kind, std::vector<PolicyChange>& changes) {
  for (const PathRule& rule : policy.paths) {
    for (const Right right : allRights) {
      if (!rule.rights.contains(right) || !explainPath(other, right, rule.path).empty()) continue;
      const Explanation explanation = explainPath(policy, right, rule.path);
      // Where a directory above has the right too, that one is the difference.
      if (explanation.back().subject == rule.path)
        changes.push_back({kind, right, rule.path, explanation.front().line});
    }
  }
}

void addPorts(const Policy& policy, const Policy& other, Kind kind, std::vector<PolicyChange>& changes) {
  if (policy.network == NetworkMode::All) return;
  for (const PortRule& rule : policy.ports) {
    for (const Right right : {Right::Bind, Right::Connect}) {
      if (!rule.rights.contains(right) || !explainPort(other, right, rule.port).empty()) continue;
      changes.push_back({kind, right, std::to_string(rule.port), explainPort(policy, right, rule.port).front().line});
    }
  }
}

void addOthers(const Policy& policy, const Policy& other, Kind kind, std::vector<PolicyChange>& changes) {
  for (const Right right : {Right::Network, Right::Abstract, Right::Signal, Right::Processes}) {
    if (!policy.allowsAll(right) || other.allowsAll(right)) continue;
    changes.push_back({kind, right, {}, explainRight(policy, right).front().line});
  }
}

void addRequired(const Policy& policy, const Policy& other, Kind kind, std::vector<PolicyChange>& changes) {
  for (const Right right : allRights) {
    if (policy.required.contains(right) && !other.required.contains(right)) changes.push_back({kind, right, {}, {}});
  }
}

void addAllowed(const Policy& policy, const Policy& other, Kind kind, std::vector<PolicyChange>& changes) {
  addPaths(policy, other, kind, changes);
  addPorts(policy, other, kind, changes);
  addOthers(policy, other, kind, changes);
}

}  // namespace

std::vector<PolicyChange> differenceOf(const Policy& older, const Policy& newer) {
  std::vector<PolicyChange> changes;
  addAllowed(newer, older, Kind::Allowed, changes);
  addRequired(newer, older, Kind::Required, changes);
  addAllowed(older, newer, Kind::NoLongerAllowed, changes);
  addRequired(older, newer, Kind::NoLongerRequired, changes);
  return changes;
}

}  // namespace vanto
