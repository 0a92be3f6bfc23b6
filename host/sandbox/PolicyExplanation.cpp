// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyExplanation.h"

#include <algorithm>

namespace vanto {
namespace {

void addGrants(const std::vector<Grant>& grants, Right right, const std::string& subject, Explanation& explanation) {
  for (const Grant& grant : grants) {
    if (grant.rights.contains(right)) explanation.push_back({subject, grant.line});
  }
}

const PathRule* ruleFor(const Policy& policy, std::string_view path) noexcept {
  const auto rule = std::ranges::lower_bound(policy.paths, path, {}, &PathRule::path);
  return rule == policy.paths.end() || rule->path != path ? nullptr : &*rule;
}

/// The directory that `path` is in; empty for the root.
std::string_view parentOf(std::string_view path) noexcept {
  if (path == "/") return {};
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string_view decidingPlace(Right right, std::string_view path) noexcept {
  return right == Right::Remove || right == Right::Rename ? parentOf(path) : path;
}

Explanation explainPath(const Policy& policy, Right right, std::string_view path) {
  Explanation explanation;
  if (!path.starts_with('/')) return explanation;
  for (std::string_view place = path; !place.empty(); place = parentOf(place)) {
    if (const PathRule* rule = ruleFor(policy, place)) addGrants(rule->grants, right, rule->path, explanation);
  }
  return explanation;
}

Explanation explainPort(const Policy& policy, Right right, std::uint16_t port) {
  Explanation explanation;
  for (const PortRule& rule : policy.ports) {
    if (rule.port == port) addGrants(rule.grants, right, std::to_string(port), explanation);
  }
  addGrants(policy.others, Right::Network, {}, explanation);
  return explanation;
}

Explanation explainRight(const Policy& policy, Right right) {
  Explanation explanation;
  addGrants(policy.others, right, {}, explanation);
  return explanation;
}

}  // namespace vanto
