// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "sandbox/Right.h"

namespace vanto {

/// What a kernel can enforce, bit by bit, as it answers when each is tried: the number of a generation says less, as
/// some kernels leave out rights of theirs.
struct KernelRights {
  /// Of landlock::everyFileBit; 0 without Landlock, where no profile is entered.
  std::uint64_t fileBits = 0;
  /// Of landlock::everyNetworkBit.
  std::uint64_t networkBits = 0;
  /// Of landlock::everyScopeBit.
  std::uint64_t scopeBits = 0;
  /// System calls can be filtered.
  bool hasFilter = false;

  [[nodiscard]] friend bool operator==(const KernelRights& left, const KernelRights& right) noexcept = default;
};

/// What is in both.
[[nodiscard]] KernelRights commonRightsOf(const KernelRights& left, const KernelRights& right) noexcept;

/// The Landlock bits with which a right is denied, in the one of the three sets that they belong to.
struct RightBits {
  std::uint64_t fileBits = 0;
  std::uint64_t networkBits = 0;
  std::uint64_t scopeBits = 0;
};

/// All zero for a right that Landlock knows nothing of.
[[nodiscard]] RightBits bitsOf(Right right) noexcept;

/// The first Linux whose Landlock has each of the right's bits, "6.2"; empty for a right that it knows nothing of.
[[nodiscard]] std::string firstLinuxOf(Right right);

/// The last generation of Landlock that brought rights of ours.
inline constexpr int landlockGenerations = 9;

/// What a kernel of Landlock's generation 1 to 9 has, with a filter; generation 0 is a kernel without Landlock.
[[nodiscard]] KernelRights kernelRightsOf(int generation) noexcept;

}  // namespace vanto
