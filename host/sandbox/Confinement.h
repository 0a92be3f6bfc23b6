// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

#include "sandbox/KernelRights.h"
#include "sandbox/Policy.h"
#include "sandbox/Receipt.h"

namespace vanto {

/// Confines this process by a policy, for the rest of its life. To be used while the process has one thread.
class Confinement {
 public:
  /// Uses all that the running kernel has.
  Confinement() noexcept : usable_(kernelRightsOf(landlockGenerations)) {}
  /// Uses no more than `usable` of it, as if the kernel were an older one.
  explicit Confinement(const KernelRights& usable) noexcept : usable_(usable) {}

  /// `own` is what the platform needs beside what the policy allows. The error of the receipt is empty when the process
  /// is confined. Otherwise nothing has changed, but that it gains no privileges by execution any more, where the
  /// kernel has refused the last step; or the error tells what is in force nonetheless.
  [[nodiscard]] Receipt enter(const Policy& policy, std::span<const PlannedPath> own = {}) const;

 private:
  [[nodiscard]] std::string carryOut(const Plan& plan, Receipt& receipt) const;

  KernelRights usable_;
};

}  // namespace vanto
