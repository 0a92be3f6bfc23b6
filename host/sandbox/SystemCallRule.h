// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "sandbox/Policy.h"
#include "sandbox/SystemCalls.h"

namespace vanto {

/// A look at one argument of a system call, at its lower 32 bits: the kernel takes no more of any argument that rules
/// look at.
struct ArgumentTest {
  enum class Relation : std::uint8_t { Equal, Different };
  std::uint8_t index = 0;
  Relation relation = Relation::Equal;
  /// The bits that are compared.
  std::uint32_t mask = 0;
  std::uint32_t value = 0;
};

/// A system call that is refused when all tests hold, always without any. There may be several rules for one call.
struct SystemCallRule {
  SystemCall call = SystemCall::Acct;
  /// What the call fails with.
  std::int32_t error = 0;
  std::vector<ArgumentTest> tests;
};

/// What `policy` refuses, by call. Every call without a rule stays possible.
[[nodiscard]] std::vector<SystemCallRule> systemCallRulesOf(const Policy& policy);

}  // namespace vanto
