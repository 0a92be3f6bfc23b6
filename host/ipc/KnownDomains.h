// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "ipc/Domain.h"

/// Where the directories of the domains are, for a process that connects again and again: to open and check all that
/// leads to one costs a fifth of a short conversation. A path is kept only when nobody but this user and root
/// can have it lead elsewhere, for one environment and user, and for a second: what this user opens to others is seen
/// after that. Any thread.
namespace vanto {

struct KnownDomains {
  /// What fits into the address of a socket.
  static constexpr std::size_t pathBytes = 108;
  /// How long what was found out is believed.
  static constexpr std::uint64_t lifetime = 1'000'000'000;

  /// Looks for `file` in the domains in their order, at the time `now` (CLOCK_MONOTONIC, nanoseconds). True when it is
  /// known to be a socket of its directory's owner: its path goes to `path`, of `pathBytes` bytes. False also when only
  /// a closer look can tell.
  [[nodiscard]] static bool find(const std::string& file, std::uint64_t now, char* path) noexcept;

  /// Keeps where `directory` is, which was opened for the domain by openDomain() at the time `now`; with none, where a
  /// directory that does not exist (errno) would be. Where that cannot be told or relied on the domain is unknown.
  static void keep(Domain domain, const Fd& directory, std::uint64_t now) noexcept;
};

}  // namespace vanto
