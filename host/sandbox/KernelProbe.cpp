// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelProbe.h"

#include <cerrno>

#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "sandbox/Landlock.h"
#include "sandbox/Ruleset.h"

namespace vanto {
namespace {

enum class Answer : std::uint8_t { Yes, No, Unknown };

bool isWantOfResources(int error) noexcept {
  return error == EMFILE || error == ENFILE || error == ENOMEM;
}

Answer tryBits(const RightBits& bits) noexcept {
  Ruleset ruleset;
  if (ruleset.create(bits.fileBits, bits.networkBits, bits.scopeBits)) return Answer::Yes;
  return isWantOfResources(errno) ? Answer::Unknown : Answer::No;
}

/// Adds those of the bits in the set `member` that the kernel has. False when that cannot be told.
bool addKnown(std::uint64_t bits, std::uint64_t RightBits::*member, std::uint64_t& known) noexcept {
  while (bits != 0) {
    const std::uint64_t bit = bits & -bits;
    RightBits wanted;
    wanted.*member = bit;
    const Answer answer = tryBits(wanted);
    if (answer == Answer::Unknown) return false;
    if (answer == Answer::Yes) known |= bit;
    bits &= ~bit;
  }
  return true;
}

/// A filter that lies nowhere: a kernel that has filters looks for it.
bool canFilter() noexcept {
  return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, nullptr) != 0 && errno == EFAULT;
}

}  // namespace

std::optional<KernelRights> probeKernelRights() noexcept {
  KernelRights kernel;
  kernel.hasFilter = canFilter();
  const bool isKnown = addKnown(landlock::everyFileBit, &RightBits::fileBits, kernel.fileBits) &&
                       addKnown(landlock::everyNetworkBit, &RightBits::networkBits, kernel.networkBits) &&
                       addKnown(landlock::everyScopeBit, &RightBits::scopeBits, kernel.scopeBits);
  return isKnown ? std::optional(kernel) : std::nullopt;
}

}  // namespace vanto
