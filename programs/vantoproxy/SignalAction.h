// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "vantoproxy/SystemCall.h"

namespace vanto {

/// The numbers by which the kernel knows the two actions that need no handler.
enum class SignalAction : std::uint64_t { Default = 0, Ignore = 1 };

/// So many signals has the kernel, and so many bits a set of them.
inline constexpr int signalCount = 64;
inline constexpr std::size_t signalSetSize = signalCount / 8;

/// Sets what a signal does; past the C library, which keeps some signals to itself. Nothing happens to the two that
/// nobody can change.
inline void setSignalAction(int signal, SignalAction action) noexcept {
  // The action first, then flags, mask and what else there is on a machine, all of them empty.
  const std::uint64_t words[4] = {static_cast<std::uint64_t>(action)};
  systemCall(SYS_rt_sigaction, signal, words, 0, signalSetSize);
}

}  // namespace vanto
