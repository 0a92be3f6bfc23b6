// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sandbox/Receipt.h"

namespace vanto::manager {

/// How a process is confined, as it has said itself; docs/formats/profile.md tells the lines.
struct InstanceReceipt {
  ConfinementLevel level = ConfinementLevel::None;
  /// Its lines, fit for people: each as LogText makes it.
  std::string text;

  /// Reads what a process sent; none when that does not begin with a level.
  [[nodiscard]] static std::optional<InstanceReceipt> read(std::string_view text);
};

/// What a process lacks that is confined less than `floor`, in one line of a few hundred bytes. Null for one that has
/// sent no receipt.
[[nodiscard]] std::string shortfall(const InstanceReceipt* receipt, ConfinementLevel floor);

}  // namespace vanto::manager
