// SPDX-License-Identifier: Apache-2.0
#include "vanto/MoveLimits.h"

#include "sandbox/KernelRights.h"
#include "sandbox/PolicyExplanation.h"

namespace vanto::tool {
namespace {

/// The first generation of Landlock that can allow moves at all.
constexpr int firstWithMoves = 2;

RightSet rightsAt(const Policy& policy, const std::string& path) {
  RightSet rights;
  for (const Right right : allRights) {
    if (isRightToPath(right) && !explainPath(policy, right, path).empty()) rights |= right;
  }
  return rights;
}

/// Empty when each kernel that allows moves knows one of `rights`, which are in the order of the kernels that brought
/// them where they are younger.
std::string firstLinuxWith(RightSet rights) {
  std::string first;
  for (const Right right : allRights) {
    if (!rights.contains(right)) continue;
    if ((bitsOf(right).fileBits & ~kernelRightsOf(firstWithMoves).fileBits) == 0) return {};
    if (first.empty()) first = firstLinuxOf(right);
  }
  return first;
}

void addLimit(MoveLimit::Way way, const std::string& directory, RightSet more, RulePlace moved,
              std::vector<MoveLimit>& limits) {
  // A file cannot be used in the ways of directories.
  const RulePlace kind = moved == RulePlace::Directory ? moved : RulePlace::File;
  const RightSet rights = more.without(idleRightsAt(kind, more));
  if (!rights.isEmpty()) limits.push_back({way, directory, rights, firstLinuxWith(rights)});
}

}  // namespace

std::vector<MoveLimit> moveLimitsOf(const Policy& policy, const std::string& directory, RulePlace moved) {
  std::vector<MoveLimit> limits;
  const RightSet here = rightsAt(policy, directory);
  for (const PathRule& rule : policy.paths) {
    const RightSet there = rightsAt(policy, rule.path);
    if (rule.path == directory || !there.contains(Right::Rename)) continue;
    if (rulePlaceOf(rule.path) != RulePlace::Directory) continue;
    if (there.contains(Right::Create)) addLimit(MoveLimit::Way::To, rule.path, there.without(here), moved, limits);
    addLimit(MoveLimit::Way::From, rule.path, here.without(there), moved, limits);
  }
  return limits;
}

}  // namespace vanto::tool
