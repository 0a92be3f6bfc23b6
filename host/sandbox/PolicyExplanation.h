// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/Policy.h"

namespace vanto {

/// A statement that allows what was asked for.
struct AllowingStatement {
  /// The path or port that it names; empty where it needs none.
  std::string subject;
  ProfileLine line;
};

/// Why a policy allows something: each statement that does, of which any would be enough. First the one that names the
/// longest path, and of one path the earliest. Empty when none does, which is why it is denied.
using Explanation = std::vector<AllowingStatement>;

/// `right` is one to a path, `path` absolute and clean; a relative one is denied.
[[nodiscard]] Explanation explainPath(const Policy& policy, Right right, std::string_view path);

/// `right` is Bind or Connect.
[[nodiscard]] Explanation explainPort(const Policy& policy, Right right, std::uint16_t port);

/// `right` is one that needs neither path nor port.
[[nodiscard]] Explanation explainRight(const Policy& policy, Right right);

}  // namespace vanto
