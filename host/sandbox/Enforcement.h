// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/Plan.h"
#include "sandbox/Ruleset.h"

namespace vanto {

/// A path that got no rule, so that it allows nothing.
struct AbsentPath {
  std::string path;
  std::string reason;
};

/// Carries out a plan for the calling thread, in two steps: all that can fail for reasons of the plan comes first and
/// changes nothing.
class Enforcement {
 public:
  /// Borrows `plan`.
  explicit Enforcement(const Plan& plan) noexcept : plan_(plan) {}

  /// Opens what the plan names and hands it to the kernel. Empty, or what is wrong.
  [[nodiscard]] std::string prepare();

  /// Confines the thread, after prepare(). Empty, or what is wrong; then nothing is in force but that the thread gains
  /// no privileges by execution, unless the text says otherwise.
  [[nodiscard]] std::string enter() const;

  /// The paths that got no rule, once prepared, but those that only a base profile or the platform names and that are
  /// not there.
  [[nodiscard]] const std::vector<AbsentPath>& absent() const noexcept { return absent_; }

 private:
  [[nodiscard]] bool hasRuleset() const noexcept { return (plan_.fileBits | plan_.networkBits | plan_.scopeBits) != 0; }
  /// 0, or what is wrong with the place, as an errno value.
  [[nodiscard]] int allowPlace(const Fd& place, std::uint64_t bits) const;

  const Plan& plan_;
  Ruleset ruleset_;
  std::vector<AbsentPath> absent_;
};

}  // namespace vanto
