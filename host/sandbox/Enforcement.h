// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/Plan.h"
#include "sandbox/Ruleset.h"

namespace vanto {

/// A path that got no rule, so that nothing is allowed there.
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

  /// The paths that the profile itself names and that could not be opened, once prepared.
  [[nodiscard]] const std::vector<AbsentPath>& absent() const noexcept { return absent_; }

 private:
  [[nodiscard]] bool hasRuleset() const noexcept { return (plan_.fileBits | plan_.networkBits | plan_.scopeBits) != 0; }
  [[nodiscard]] std::string allowPath(const PlannedPath& planned);

  const Plan& plan_;
  Ruleset ruleset_;
  std::vector<AbsentPath> absent_;
};

}  // namespace vanto
