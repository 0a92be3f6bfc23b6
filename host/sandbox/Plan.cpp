// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Plan.h"

#include <algorithm>
#include <map>

#include "sandbox/FilterProgram.h"
#include "sandbox/Landlock.h"

namespace vanto {
namespace {

std::uint64_t fileBitsOf(RightSet rights) noexcept {
  // Nobody is given the making of devices; it belongs to what is denied with Create.
  constexpr std::uint64_t devices = landlock::makeCharacterDevice | landlock::makeBlockDevice;
  std::uint64_t bits = 0;
  for (const Right right : allRights) {
    if (rights.contains(right)) bits |= bitsOf(right).fileBits;
  }
  return bits & ~devices;
}

std::uint64_t networkBitsOf(RightSet rights) noexcept {
  std::uint64_t bits = 0;
  for (const Right right : {Right::Bind, Right::Connect}) {
    if (rights.contains(right)) bits |= bitsOf(right).networkBits;
  }
  return bits;
}

/// A plan while it is made.
class Planner {
 public:
  Planner(const Policy& policy, const KernelRights& kernel, bool hasFilter) noexcept
      : policy_(policy), kernel_(kernel), hasFilter_(hasFilter) {}

  [[nodiscard]] bool isAsked(Right right) const noexcept { return !policy_.allowsAll(right); }
  /// Why the denial of `right` is not enforced; empty where it is.
  [[nodiscard]] std::string whyMissing(Right right) const;

 private:
  [[nodiscard]] bool filterEnforces(Right right) const noexcept;
  [[nodiscard]] bool landlockEnforces(Right right) const noexcept;

  const Policy& policy_;
  const KernelRights& kernel_;
  bool hasFilter_;
};

bool Planner::filterEnforces(Right right) const noexcept {
  if (!hasFilter_) return false;
  switch (right) {
    case Right::Network:
    case Right::Processes:
    case Right::System:
      return true;
    case Right::Execute:
      return !policy_.allowsAny(Right::Execute);
    case Right::Bind:
    case Right::Connect:
      return policy_.network == NetworkMode::None;
    default:
      return false;
  }
}

bool Planner::landlockEnforces(Right right) const noexcept {
  // Kernels that do not know this right refuse it to everyone who is confined.
  if (right == Right::Rename) return true;
  // Sending with MSG_FASTOPEN connects past the rules for ports; the filter refuses it.
  if (right == Right::Connect && !hasFilter_) return false;
  const RightBits bits = bitsOf(right);
  if ((bits.fileBits | bits.networkBits | bits.scopeBits) == 0) return false;
  return (bits.fileBits & ~kernel_.fileBits) == 0 && (bits.networkBits & ~kernel_.networkBits) == 0 &&
         (bits.scopeBits & ~kernel_.scopeBits) == 0;
}

std::string Planner::whyMissing(Right right) const {
  if (kernel_.fileBits == 0) return "this kernel has no Landlock, or it is switched off";
  if (filterEnforces(right) || landlockEnforces(right)) return {};
  const std::string version = firstLinuxOf(right);
  if (version.empty() || (right == Right::Connect && !hasFilter_)) return "system calls cannot be filtered here";
  return "this kernel cannot deny it; Linux " + version + " is the first that can";
}

void addRemarks(const Policy& policy, const Planner& planner, Plan& plan) {
  for (const Right right : allRights) {
    if (!planner.isAsked(right)) continue;
    plan.asked |= right;
    std::string reason = planner.whyMissing(right);
    if (reason.empty()) continue;
    if (policy.required.contains(right)) plan.unmet.push_back({right, reason});
    plan.missing.push_back({right, std::move(reason)});
  }
  if (policy.allowsAny(Right::Rename) && plan.fileBits != 0 && (plan.fileBits & landlock::refer) == 0) {
    plan.withheld.push_back({Right::Rename, "this kernel refuses it to every confined process; Linux " +
                                                firstLinuxOf(Right::Rename) + " is the first that can allow it"});
  }
}

void addHandled(const Policy& policy, const KernelRights& kernel, Plan& plan) {
  plan.fileBits = kernel.fileBits & landlock::everyFileBit;
  if (policy.network != NetworkMode::All) plan.networkBits = kernel.networkBits & landlock::everyNetworkBit;
  for (const Right right : {Right::Abstract, Right::Signal}) {
    if (!policy.allowsAll(right)) plan.scopeBits |= kernel.scopeBits & bitsOf(right).scopeBits;
  }
}

bool isOfProfile(const PathRule& rule) noexcept {
  return std::ranges::any_of(rule.grants, [](const Grant& grant) { return grant.line.base.empty(); });
}

void addPaths(const Policy& policy, std::span<const PlannedPath> own, Plan& plan) {
  std::map<std::string_view, PlannedPath> paths;
  const auto add = [&](const std::string& path, std::uint64_t bits, bool ofProfile) {
    PlannedPath& planned = paths[path];
    planned.bits |= bits & plan.fileBits;
    planned.isOfProfile |= ofProfile;
  };
  for (const PathRule& rule : policy.paths) add(rule.path, fileBitsOf(rule.rights), isOfProfile(rule));
  for (const PlannedPath& rule : own) add(rule.path, rule.bits, false);
  for (const auto& [path, planned] : paths) {
    if (planned.bits != 0 || planned.isOfProfile)
      plan.paths.push_back({std::string(path), planned.bits, planned.isOfProfile});
  }
}

void addPorts(const Policy& policy, Plan& plan) {
  for (const PortRule& rule : policy.ports) {
    const std::uint64_t bits = networkBitsOf(rule.rights) & plan.networkBits;
    if (bits != 0) plan.ports.push_back({rule.port, bits, rule.grants.front().line.line});
  }
}

}  // namespace

Plan planOf(const Policy& policy, const KernelRights& kernel, std::optional<Machine> machine,
            std::span<const PlannedPath> own) {
  const bool hasFilter = kernel.hasFilter && machine.has_value();
  Plan plan;
  // Half a confinement would let people think that files are denied.
  if (kernel.fileBits != 0) {
    addHandled(policy, kernel, plan);
    addPaths(policy, own, plan);
    addPorts(policy, plan);
    if (hasFilter) plan.filter = filterProgramOf(systemCallRulesOf(policy), *machine);
  }
  addRemarks(policy, Planner(policy, kernel, hasFilter), plan);
  return plan;
}

}  // namespace vanto
