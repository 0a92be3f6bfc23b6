// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PortRange.h"

#include <charconv>

namespace vanto {
namespace {

std::optional<std::uint16_t> portOf(std::string_view text) noexcept {
  if (text.size() > 1 && text.front() == '0') return std::nullopt;
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return port;
}

}  // namespace

std::optional<PortRange> portRangeOf(std::string_view word) noexcept {
  const std::size_t dash = word.find('-');
  const auto first = portOf(word.substr(0, dash));
  const auto last = dash == std::string_view::npos ? first : portOf(word.substr(dash + 1));
  if (!first || !last || *first > *last) return std::nullopt;
  return PortRange{*first, *last};
}

}  // namespace vanto
