// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "sandbox/Policy.h"
#include "sandbox/PortRange.h"

namespace vanto {

/// Collects what statements give and joins what they give at the same path or port.
class PolicyBuilder {
 public:
  enum class Outcome { Added, TooMany };

  /// Write brings Truncate with it, since a file can be emptied by writing.
  [[nodiscard]] Outcome allowPath(std::string path, RightSet rights, ProfileLine line);
  /// The network is TCP from then on, if it was none.
  [[nodiscard]] Outcome allowPorts(PortRange ports, Right right, ProfileLine line);
  /// A right that needs no path or port.
  [[nodiscard]] Outcome allow(Right right, ProfileLine line);
  void require(RightSet rights) { policy_.required |= rights; }

  /// The policy; the builder is empty afterwards.
  [[nodiscard]] Policy take();

 private:
  [[nodiscard]] Outcome count(std::size_t grants);

  Policy policy_;
  std::map<std::string, PathRule> paths_;
  std::map<std::uint16_t, PortRule> ports_;
  std::size_t grants_ = 0;
};

}  // namespace vanto
