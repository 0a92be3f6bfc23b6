// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sandbox/Plan.h"

namespace vanto {

enum class WitnessResult : std::uint8_t { Untested, Denied, Allowed };

/// Tries what a plan forbids, so that nobody has to believe that it is in force. It is made before the plan is carried
/// out and tries everything once then: what was not possible before shows nothing.
class Witness {
 public:
  explicit Witness(const Plan& plan);

  /// To be called when the plan is in force.
  void tryAgain() noexcept;

  /// Of the last time: Allowed when something was possible, Untested when nothing can be told.
  [[nodiscard]] WitnessResult result() const noexcept;

  /// What was tried the last time, and could be, for people; empty when that is nothing.
  [[nodiscard]] std::string subject() const;
  /// What of it was possible.
  [[nodiscard]] std::string possible() const;

 private:
  /// Unknown for want of descriptors or memory.
  enum class Outcome : std::uint8_t { Possible, Denied, Unknown };

  struct Trial {
    const char* name;
    Outcome (*attempt)() noexcept;
    Outcome outcome;
  };

  static Outcome outcomeOf(bool isDone) noexcept;
  static Outcome listRoot() noexcept;
  static Outcome makeDatagramSocket() noexcept;
  static Outcome callUnshare() noexcept;

  [[nodiscard]] std::string namesWhere(bool (*isNamed)(Outcome) noexcept) const;

  std::vector<Trial> trials_;
};

}  // namespace vanto
