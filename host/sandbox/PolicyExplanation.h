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

/// Where a kernel looks for `right` when `path` is used: for Remove and Rename at the directory that it is in, which
/// they change, else at `path` itself. Empty for what is in no directory. `path` is absolute and clean.
[[nodiscard]] std::string_view decidingPlace(Right right, std::string_view path) noexcept;

/// What gives `right`, one to a path, at `path` and beneath it. `path` is absolute and clean; a relative one has none.
[[nodiscard]] Explanation explainPath(const Policy& policy, Right right, std::string_view path);

/// `right` is Bind or Connect.
[[nodiscard]] Explanation explainPort(const Policy& policy, Right right, std::uint16_t port);

/// `right` is one that needs neither path nor port.
[[nodiscard]] Explanation explainRight(const Policy& policy, Right right);

}  // namespace vanto
