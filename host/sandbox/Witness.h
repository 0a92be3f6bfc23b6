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

  /// Tries again. Denied when nothing of it is possible any more; Untested when nothing was before.
  [[nodiscard]] WitnessResult result() const noexcept;

  /// What is tried, for people; empty when that is nothing.
  [[nodiscard]] std::string subject() const;

 private:
  struct Trial {
    const char* name;
    bool (*isPossible)() noexcept;
  };

  std::vector<Trial> trials_;
};

}  // namespace vanto
