// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Plan.h"
#include "sandbox/PolicyDifference.h"
#include "sandbox/PolicyExplanation.h"
#include "sandbox/PolicyText.h"
#include "sandbox/Profile.h"

/// Uses each entry of the archive, linked with nothing else; ends with status 0 when a profile comes out as it went in.
int main() {
  const vanto::ProfileResult result = vanto::compileProfile("allow read /a\nallow read,write /a/b\n", {});
  if (!result.policy) return 1;
  const vanto::Plan plan = vanto::planOf(*result.policy, vanto::kernelRightsOf(9), vanto::Machine::X86_64);
  if (plan.paths.size() != 2 || plan.filter.empty() || !plan.missing.empty()) return 2;
  if (vanto::explainPath(*result.policy, vanto::Right::Read, "/a/b/c").size() != 2) return 3;
  if (!vanto::differenceOf(*result.policy, *result.policy).empty()) return 4;
  return vanto::textOf(*result.policy) == "version 1\nallow read /a\nallow read,write /a/b\nnetwork none\n" ? 0 : 5;
}
