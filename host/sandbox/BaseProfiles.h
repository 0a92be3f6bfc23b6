// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string_view>

namespace vanto {

/// A profile that is part of the system. Others take it in with "include NAME"; it includes none itself, has no
/// parameters and requires nothing.
struct BaseProfile {
  std::string_view name;
  std::string_view text;
};

/// All of them, ascending by name; they live as long as the process.
[[nodiscard]] std::span<const BaseProfile> baseProfiles() noexcept;

/// The one with `name`, or null.
[[nodiscard]] const BaseProfile* baseProfileNamed(std::string_view name) noexcept;

}  // namespace vanto
