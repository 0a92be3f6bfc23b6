// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sandbox/Policy.h"

namespace vanto {

/// One thing in which two policies differ.
struct PolicyChange {
  enum class Kind : std::uint8_t { Allowed, NoLongerAllowed, Required, NoLongerRequired };
  Kind kind = Kind::Allowed;
  Right right = Right::Read;
  /// The path at and beneath which, or the port; empty where the right needs none.
  std::string subject;
  /// The first statement that gives it, in the new policy for Allowed, in the old one for NoLongerAllowed.
  ProfileLine line;
};

/// What `newer` allows and requires and `older` does not, then the other way round. A rule that changes nothing, since
/// a directory above it has the right too, is no difference.
[[nodiscard]] std::vector<PolicyChange> differenceOf(const Policy& older, const Policy& newer);

}  // namespace vanto
