// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Policy.h"

#include <algorithm>

namespace vanto {
namespace {

template <typename Rule>
bool anyGives(const std::vector<Rule>& rules, Right right) noexcept {
  return std::ranges::any_of(rules, [right](const Rule& rule) { return rule.rights.contains(right); });
}

}  // namespace

bool Policy::allowsAll(Right right) const noexcept {
  if (isRightToPath(right)) return !paths.empty() && paths.front().path == "/" && paths.front().rights.contains(right);
  if (isRightToPort(right)) return network == NetworkMode::All;
  return anyGives(others, right);
}

bool Policy::allowsAny(Right right) const noexcept {
  if (isRightToPath(right)) return anyGives(paths, right);
  if (isRightToPort(right)) return network == NetworkMode::All || anyGives(ports, right);
  return anyGives(others, right);
}

}  // namespace vanto
