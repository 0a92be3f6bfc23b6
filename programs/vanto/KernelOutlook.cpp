// SPDX-License-Identifier: Apache-2.0
#include "vanto/KernelOutlook.h"

#include "sandbox/Plan.h"

namespace vanto::tool {
namespace {

RightSet rightsOf(const std::vector<RightRemark>& remarks) {
  RightSet rights;
  for (const RightRemark& remark : remarks) rights |= remark.right;
  return rights;
}

bool contains(const KernelRights& kernel, const RightBits& bits) noexcept {
  return (bits.fileBits & ~kernel.fileBits) == 0 && (bits.networkBits & ~kernel.networkBits) == 0 &&
         (bits.scopeBits & ~kernel.scopeBits) == 0;
}

/// The first Linux of a generation of Landlock; empty where it brought no right.
std::string linuxVersionOf(int generation) {
  for (const Right right : allRights) {
    const RightBits bits = bitsOf(right);
    const bool isNew = contains(kernelRightsOf(generation), bits) && !contains(kernelRightsOf(generation - 1), bits);
    if (isNew) return firstLinuxOf(right);
  }
  return {};
}

KernelOutlook outlookOf(const Policy& policy, int generation) {
  const Plan plan = planOf(policy, kernelRightsOf(generation), thisMachine());
  return {generation == 0 ? "" : linuxVersionOf(generation), rightsOf(plan.missing), rightsOf(plan.withheld),
          rightsOf(plan.unmet), plan.unmet.empty() && !plan.isEmpty()};
}

bool haveSameRights(const KernelOutlook& left, const KernelOutlook& right) noexcept {
  return left.open == right.open && left.withheld == right.withheld && left.unmet == right.unmet &&
         left.isEntered == right.isEntered;
}

}  // namespace

std::vector<KernelOutlook> outlooksOf(const Policy& policy) {
  std::vector<KernelOutlook> outlooks{outlookOf(policy, 0)};
  for (int generation = 1; generation <= landlockGenerations; ++generation) {
    KernelOutlook outlook = outlookOf(policy, generation);
    if (!haveSameRights(outlook, outlooks.back())) outlooks.push_back(std::move(outlook));
  }
  return outlooks;
}

std::string openingOf(const std::vector<KernelOutlook>& outlooks, Right right) {
  std::string firstClosed;
  bool isOpen = false;
  for (const KernelOutlook& outlook : outlooks) {
    if (outlook.open.contains(right)) {
      isOpen = true;
      firstClosed.clear();
    } else if (isOpen && firstClosed.empty()) {
      firstClosed = outlook.linuxVersion;
    }
  }
  if (!isOpen) return {};
  return firstClosed.empty() ? "no kernel can deny it" : "Linux before " + firstClosed + " leaves it open";
}

}  // namespace vanto::tool
