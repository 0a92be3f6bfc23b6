// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>

#include <time.h>

#include "learning/RunFacts.h"
#include "sandbox/Plan.h"
#include "sandbox/Policy.h"

namespace vanto::tool {

/// The least policy under which a run can be had again, as far as profiles can say it.
struct LearnedPolicy {
  /// What a policy is for: commands are executed when they are confined, services before.
  enum class Purpose : std::uint8_t { Command, Service };

  /// `began` is when the run began, by the clock of files. `given` is what the platform allows besides, which the
  /// policy leaves out. Looks at the files that the facts name, as they are after the run.
  [[nodiscard]] static LearnedPolicy of(const learning::RunFacts& facts, const timespec& began, Purpose purpose,
                                        std::span<const PlannedPath> given);

  /// Without what the base profile gives, when that is included.
  Policy policy;
  bool includesBase = false;
  /// What it says less than was done, or more, a sentence each.
  std::set<std::string> remarks;
  /// Why there is none, visible; empty when there is one.
  std::string problem;
};

}  // namespace vanto::tool
