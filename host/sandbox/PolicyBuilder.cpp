// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyBuilder.h"

#include <utility>

#include "value/limits.h"

namespace vanto {
namespace {

template <typename Rule>
void give(Rule& rule, const Grant& grant) {
  rule.rights |= grant.rights;
  rule.grants.push_back(grant);
}

}  // namespace

PolicyBuilder::Outcome PolicyBuilder::count(std::size_t grants) {
  if (grants > limits::profileGrants - grants_) return Outcome::TooMany;
  grants_ += grants;
  return Outcome::Added;
}

PolicyBuilder::Outcome PolicyBuilder::allowPath(std::string path, RightSet rights, ProfileLine line) {
  if (count(1) == Outcome::TooMany) return Outcome::TooMany;
  if (rights.contains(Right::Write)) rights |= Right::Truncate;
  PathRule& rule = paths_[path];
  rule.path = std::move(path);
  give(rule, {rights, line});
  return Outcome::Added;
}

PolicyBuilder::Outcome PolicyBuilder::allowPorts(PortRange ports, Right right, ProfileLine line) {
  if (count(ports.size()) == Outcome::TooMany) return Outcome::TooMany;
  for (std::size_t offset = 0; offset < ports.size(); ++offset) {
    const auto port = static_cast<std::uint16_t>(ports.first + offset);
    PortRule& rule = ports_[port];
    rule.port = port;
    give(rule, {right, line});
  }
  if (policy_.network == NetworkMode::None) policy_.network = NetworkMode::Tcp;
  return Outcome::Added;
}

PolicyBuilder::Outcome PolicyBuilder::allow(Right right, ProfileLine line) {
  if (count(1) == Outcome::TooMany) return Outcome::TooMany;
  policy_.others.push_back({right, line});
  if (right == Right::Network) policy_.network = NetworkMode::All;
  return Outcome::Added;
}

Policy PolicyBuilder::take() {
  Policy policy = std::exchange(policy_, {});
  for (auto& [path, rule] : std::exchange(paths_, {})) policy.paths.push_back(std::move(rule));
  for (auto& [port, rule] : std::exchange(ports_, {})) policy.ports.push_back(std::move(rule));
  grants_ = 0;
  return policy;
}

}  // namespace vanto
