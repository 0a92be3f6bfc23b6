// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/Right.h"

namespace vanto {

/// Which statement said something.
struct ProfileLine {
  /// The name of the base profile, which lives as long as the process; empty for the profile itself.
  std::string_view base;
  /// In the profile itself: its line, or, for what a base profile says, the line that includes it. 0 for the platform's
  /// own.
  std::size_t line = 0;
};

/// Rights that one statement gives.
struct Grant {
  RightSet rights;
  ProfileLine line;
};

/// What is allowed at a path and beneath it.
struct PathRule {
  /// Absolute and clean.
  std::string path;
  /// Of all grants together; rights to paths only.
  RightSet rights;
  /// In the order of the profile, one for each time the path was named.
  std::vector<Grant> grants;
};

/// What is allowed with a TCP port.
struct PortRule {
  std::uint16_t port = 0;
  /// Of all grants together; Bind, Connect or both.
  RightSet rights;
  std::vector<Grant> grants;
};

enum class NetworkMode : std::uint8_t {
  None,  ///< Unix sockets only
  Tcp,   ///< TCP with the ports that have rules
  All
};

/// A compiled profile: all that is allowed; everything else is denied. It knows nothing of any kernel.
struct Policy {
  /// Ascending by path; no path twice.
  std::vector<PathRule> paths;
  /// Ascending by port; no port twice.
  std::vector<PortRule> ports;
  NetworkMode network = NetworkMode::None;
  /// Grants of the rights that need no path or port: Network, Abstract, Signal, Processes.
  std::vector<Grant> others;
  /// Rights without whose enforcement the process must not go on.
  RightSet required;

  /// True when `right` is allowed with every path, port or peer there is.
  [[nodiscard]] bool allowsAll(Right right) const noexcept;
  /// True when `right` is allowed with something.
  [[nodiscard]] bool allowsAny(Right right) const noexcept;
};

}  // namespace vanto
