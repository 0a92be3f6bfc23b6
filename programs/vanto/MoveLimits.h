// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/Policy.h"
#include "vanto/RulePlace.h"

namespace vanto::tool {

/// Directories between which things may be moved or linked by their own rights, and are not all the same, since nothing
/// comes to where it would have more rights than where it was.
struct MoveLimit {
  /// Where it would have more, or where it would have less and so may not come from.
  enum class Way : unsigned char { To, From };
  Way way = Way::To;
  /// The other directory.
  std::string directory;
  /// What one of the two gives and the other does not.
  RightSet rights;
  /// The first Linux that knows one of these rights, and so the first to refuse it, "6.2"; empty where that is every
  /// one that allows moves.
  std::string firstLinux;
};

/// The limits of moving a file, or a directory, to and from `directory` under `policy`, which has its rules at real
/// places; in the order of the other directories. What is absent is taken for a file. Looks at what is there.
[[nodiscard]] std::vector<MoveLimit> moveLimitsOf(const Policy& policy, const std::string& directory, RulePlace moved);

}  // namespace vanto::tool
