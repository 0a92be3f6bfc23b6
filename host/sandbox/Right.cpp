// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Right.h"

#include <algorithm>

namespace vanto {
namespace {

constexpr std::array<std::string_view, allRights.size()> names{
    "read",   "write", "create",  "remove",  "truncate", "rename", "execute",   "ioctl",
    "socket", "bind",  "connect", "network", "abstract", "signal", "processes", "system"};

}  // namespace

std::string_view nameOf(Right right) noexcept {
  return names[static_cast<std::size_t>(right)];
}

std::optional<Right> rightNamed(std::string_view word) noexcept {
  const auto found = std::ranges::find(names, word);
  if (found == names.end()) return std::nullopt;
  return allRights[static_cast<std::size_t>(found - names.begin())];
}

std::string namesOf(RightSet rights, std::string_view between) {
  std::string text;
  for (const Right right : allRights) {
    if (!rights.contains(right)) continue;
    if (!text.empty()) text += between;
    text += nameOf(right);
  }
  return text;
}

}  // namespace vanto
