// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <VantoService/vanto.h>

namespace vanto {

/// What an audit token says of a process.
struct ProcessFacts {
  pid_t pid;
  uid_t effectiveUser;
  gid_t effectiveGroup;
  uid_t realUser;
  gid_t realGroup;
  /// In clock ticks since boot, as the kernel reports it.
  std::uint64_t startTime;
};

/// The eight words: process id, effective user and group, real user and group, start time (low word, high word), zero.
[[nodiscard]] audit_token_t makeAuditToken(const ProcessFacts& facts) noexcept;

/// The start time that a token holds.
[[nodiscard]] std::uint64_t startTimeOfAuditToken(const audit_token_t& token) noexcept;

}  // namespace vanto
