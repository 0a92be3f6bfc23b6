// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vanto {

/// Ports from `first` to `last`, both included; first is at most last.
struct PortRange {
  std::uint16_t first = 0;
  std::uint16_t last = 0;

  [[nodiscard]] std::size_t size() const noexcept { return std::size_t{last} - first + 1; }
};

/// The ports that `word` names, "80" or "8000-8010" in decimal without further zeros; none when it names none.
[[nodiscard]] std::optional<PortRange> portRangeOf(std::string_view word) noexcept;

}  // namespace vanto
