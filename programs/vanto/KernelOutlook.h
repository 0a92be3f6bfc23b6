// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/Policy.h"

namespace vanto::tool {

/// What becomes of a profile on kernels from one version of Linux to before the next.
struct KernelOutlook {
  /// "6.2"; empty for kernels before the first that have Landlock.
  std::string linuxVersion;
  /// What the profile denies and such kernels leave open.
  RightSet open;
  /// What the profile allows and they refuse.
  RightSet withheld;
  /// What the profile requires and they cannot deny, for which it is not entered.
  RightSet unmet;
  /// False with unmet requirements, and on every kernel without Landlock; then all that the profile denies is open.
  bool isEntered = true;
};

/// The outlook of `policy` on every kernel with filters of system calls, from the oldest to the newest; one only for
/// each change.
[[nodiscard]] std::vector<KernelOutlook> outlooksOf(const Policy& policy);

/// Which kernels leave `right` open though the policy denies it, as "Linux before 6.2 leaves it open"; empty when none
/// does.
[[nodiscard]] std::string openingOf(const std::vector<KernelOutlook>& outlooks, Right right);

}  // namespace vanto::tool
