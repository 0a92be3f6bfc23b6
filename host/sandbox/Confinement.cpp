// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Confinement.h"

#include <cerrno>

#include "sandbox/KernelProbe.h"
#include "sandbox/KernelRefusal.h"
#include "sandbox/ThreadCount.h"

namespace vanto {
namespace {

constexpr const char* withoutLandlock =
    "this kernel has no Landlock, or it is switched off, and without it no profile is entered; start Linux 5.13 or "
    "newer with landlock among the modules of its parameter lsm";

/// Why nothing of a plan can be carried out.
std::string whyNotWithLandlock() {
  const int error = errorOfLandlock();
  if (error != EPERM && error != EACCES) return withoutLandlock;
  return kernelRefusal("landlock_create_ruleset is refused, and without Landlock no profile is entered", error);
}

/// Why this process cannot be confined by anything; empty when it can.
std::string whyNotThisProcess() {
  const std::size_t threads = threadCount();
  if (threads == 1) return {};
  if (threads == 0) return kernelRefusal("cannot count the threads of this process in /proc/self/task", errno);
  return "the process has " + std::to_string(threads) +
         " threads, of which only one could be confined; enter the "
         "sandbox before others are made";
}

std::string unmetRequirements(const std::vector<RightRemark>& unmet) {
  std::string text;
  for (const RightRemark& remark : unmet) {
    text += (text.empty() ? "the profile requires " : "; ") + std::string(nameOf(remark.right)) + ": " + remark.reason;
  }
  return text;
}

}  // namespace

std::string Confinement::carryOut(const Plan& plan, Receipt& receipt) const {
  if (plan.isEmpty()) return whyNotWithLandlock();
  if (!plan.unmet.empty()) return unmetRequirements(plan.unmet);
  Witness witness(plan);
  Enforcement enforcement(plan);
  std::string error = enforcement.prepare();
  if (error.empty()) error = enforcement.enter();
  if (!error.empty()) return error;
  receipt.absent = enforcement.absent();
  witness.tryAgain();
  receipt.witness = witness.result();
  receipt.witnessSubject = witness.subject();
  if (receipt.witness != WitnessResult::Allowed) return {};
  return "the kernel has taken all of it, but what is forbidden is still possible (" + witness.possible() +
         "); the rest of it is in force; report the kernel's version";
}

Receipt Confinement::enter(const Policy& policy, std::span<const PlannedPath> own) const {
  Receipt receipt;
  receipt.error = whyNotThisProcess();
  if (!receipt.error.empty()) return receipt;
  const std::optional<KernelRights> kernel = probeKernelRights();
  if (!kernel) {
    receipt.error = kernelRefusal("cannot tell what this kernel enforces", errno);
    return receipt;
  }
  Plan plan = planOf(policy, commonRightsOf(*kernel, usable_), thisMachine(), own);
  receipt.asked = plan.asked;
  receipt.error = carryOut(plan, receipt);
  receipt.missing = std::move(plan.missing);
  receipt.withheld = std::move(plan.withheld);
  if (!receipt.error.empty()) return receipt;
  receipt.enforced = receipt.asked;
  for (const RightRemark& remark : receipt.missing) receipt.enforced = receipt.enforced.without(remark.right);
  receipt.level = receipt.missing.empty() ? ConfinementLevel::Full : ConfinementLevel::Reduced;
  return receipt;
}

}  // namespace vanto
