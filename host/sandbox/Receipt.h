// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/Enforcement.h"
#include "sandbox/Plan.h"
#include "sandbox/Witness.h"

namespace vanto {

enum class ConfinementLevel : std::uint8_t {
  None,     ///< the profile was not entered, or is without effect
  Reduced,  ///< something that the profile denies is open
  Full
};

/// The word for a level in receipts.
[[nodiscard]] const char* nameOf(ConfinementLevel level) noexcept;
/// The word for what came of the witness.
[[nodiscard]] const char* nameOf(WitnessResult result) noexcept;
/// The level of that word, if it is one.
[[nodiscard]] std::optional<ConfinementLevel> levelNamed(std::string_view word) noexcept;

/// What became of a profile that a process was to be confined by.
struct Receipt {
  ConfinementLevel level = ConfinementLevel::None;
  /// Why the profile was not entered; empty when it was.
  std::string error;
  /// Rights with which the profile denies something.
  RightSet asked;
  /// Those of them that are enforced.
  RightSet enforced;
  /// The others.
  std::vector<RightRemark> missing;
  /// Rights that the profile gives and the kernel refuses nonetheless.
  std::vector<RightRemark> withheld;
  std::vector<AbsentPath> absent;
  WitnessResult witness = WitnessResult::Untested;
  std::string witnessSubject;
};

/// `receipt` as lines, as docs/formats/profile.md describes; at most limits::receiptBytes.
[[nodiscard]] std::string textOf(const Receipt& receipt);

}  // namespace vanto
