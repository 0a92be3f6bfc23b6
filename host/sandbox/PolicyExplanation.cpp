// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyExplanation.h"

namespace vanto {
namespace {

void addGrants(const std::vector<Grant>& grants, Right right, const std::string& subject, Explanation& explanation) {
  for (const Grant& grant : grants) {
    if (grant.rights.contains(right)) explanation.push_back({subject, grant.line});
  }
}

}  // namespace

Explanation explainPath(const Policy& policy, Right right, std::string_view path) {
  Explanation explanation;
  // What lies above the path comes in the order of its length, backwards the longest first.
  for (auto rule = policy.paths.rbegin(); rule != policy.paths.rend(); ++rule) {
    if (isAtOrBeneath(path, rule->path)) addGrants(rule->grants, right, rule->path, explanation);
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
