// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/Policy.h"

namespace vanto::tool {

/// Where `path` is at the end of all symbolic links on this machine, as far as it is there; absolute and clean. What
/// lies beneath /proc/self stays, as it is of another process each time.
[[nodiscard]] std::string realPath(const std::string& path);

/// A rule that nobody gets: its path leads through a symbolic link that is not followed.
struct RefusedRule {
  /// At the real place of its path.
  PathRule rule;
  /// As the profile has it.
  std::string path;
  /// Why the link is not followed.
  std::string reason;
};

/// A policy as kernels have it.
struct RealPolicy {
  /// With rules at the real places of their paths. The grants of a rule are in the order of the profile again.
  Policy policy;
  /// The rules that are not among those, in the order of the paths that the profile has.
  std::vector<RefusedRule> refused;
};

/// `policy` as it would be entered now, by the files of this machine.
[[nodiscard]] RealPolicy realPolicyOf(const Policy& policy);

/// The same without what is refused.
[[nodiscard]] Policy withRealPaths(const Policy& policy);

}  // namespace vanto::tool
