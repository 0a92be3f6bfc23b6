// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <linux/filter.h>

#include "sandbox/KernelRights.h"
#include "sandbox/Policy.h"
#include "sandbox/SystemCalls.h"

namespace vanto {

struct PlannedPath {
  std::string path;
  /// For a directory; for anything else only landlock::bitsOfFiles of them.
  std::uint64_t bits = 0;
  /// The profile itself names it, not only a base profile or the platform.
  bool isOfProfile = false;
};

struct PlannedPort {
  std::uint16_t port = 0;
  std::uint64_t bits = 0;
  /// Of the profile, where the port is first named.
  std::size_t line = 0;
};

/// A right, and why this kernel does not do with it what the policy says.
struct RightRemark {
  Right right = Right::Read;
  std::string reason;
};

/// What has to be told to one kernel to bring a policy into force, and how far that goes. Plain data.
struct Plan {
  /// What the ruleset is about, of each set of landlock bits; without a rule each is denied.
  std::uint64_t fileBits = 0;
  std::uint64_t networkBits = 0;
  std::uint64_t scopeBits = 0;
  /// Ascending by path; the bits of each are of fileBits. 0 for one that only the profile itself names, for rights that
  /// the kernel does not know: it needs no rule, but may be absent.
  std::vector<PlannedPath> paths;
  /// Ascending by port; the bits of each are of networkBits and not 0.
  std::vector<PlannedPort> ports;
  /// Empty where this kernel or machine cannot filter.
  std::vector<sock_filter> filter;

  /// Rights with which the policy denies something.
  RightSet asked;
  /// Those of them that nothing enforces, in the order of rights. asked without these is enforced.
  std::vector<RightRemark> missing;
  /// Rights that the policy gives and the kernel refuses nonetheless.
  std::vector<RightRemark> withheld;
  /// Those of `missing` that the policy requires; with any of them the plan must not be carried out.
  std::vector<RightRemark> unmet;

  /// True on kernels without Landlock: nothing of the policy is enforced there, not even by a filter, and the plan must
  /// not be carried out.
  [[nodiscard]] bool isEmpty() const noexcept { return fileBits == 0; }
};

/// What brings `policy` into force on a kernel that can do `kernel`. `machine` is none where no filter is written for
/// it. `own` is what the platform itself needs, beside what the policy allows: it counts for the plan only, not for
/// what the policy asks. It is given in bits, as a right would often be more than is needed.
[[nodiscard]] Plan planOf(const Policy& policy, const KernelRights& kernel, std::optional<Machine> machine,
                          std::span<const PlannedPath> own = {});

}  // namespace vanto
