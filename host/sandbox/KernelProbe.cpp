// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelProbe.h"

#include <bit>
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

/// Begins with the newest generation of which the kernel takes all at once. None when that cannot be told.
std::optional<KernelRights> firstGuess() noexcept {
  KernelRights refused;
  for (int generation = landlockGenerations; generation > 0; --generation) {
    const KernelRights rights = kernelRightsOf(generation);
    if (rights == refused) continue;
    const Answer answer = tryBits({rights.fileBits, rights.networkBits, rights.scopeBits});
    if (answer == Answer::Unknown) return std::nullopt;
    if (answer == Answer::Yes) return rights;
    refused = rights;
  }
  return KernelRights();
}

/// Adds those of the bits in the set `member` that the kernel has. False when that cannot be told. Tries many at once
/// and halves what is refused.
bool addKnown(std::uint64_t bits, std::uint64_t RightBits::*member, std::uint64_t& known) noexcept {
  if (bits == 0) return true;
  RightBits wanted;
  wanted.*member = bits;
  const Answer answer = tryBits(wanted);
  if (answer == Answer::Yes) known |= bits;
  if (answer != Answer::No || std::has_single_bit(bits)) return answer != Answer::Unknown;
  const int middle = (std::countr_zero(bits) + static_cast<int>(std::bit_width(bits))) / 2;
  const std::uint64_t lower = bits & ((std::uint64_t{1} << middle) - 1);
  return addKnown(lower, member, known) && addKnown(bits & ~lower, member, known);
}

/// A filter that lies nowhere: a kernel that has filters looks for it.
bool canFilter() noexcept {
  return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, nullptr) != 0 && errno == EFAULT;
}

}  // namespace

std::optional<KernelRights> probeKernelRights() noexcept {
  std::optional<KernelRights> kernel = firstGuess();
  if (!kernel) return std::nullopt;
  kernel->hasFilter = canFilter();
  // Kernels can lack a right of their generation, and have one of a later.
  const KernelRights guess = *kernel;
  const bool isKnown =
      addKnown(landlock::everyFileBit & ~guess.fileBits, &RightBits::fileBits, kernel->fileBits) &&
      addKnown(landlock::everyNetworkBit & ~guess.networkBits, &RightBits::networkBits, kernel->networkBits) &&
      addKnown(landlock::everyScopeBit & ~guess.scopeBits, &RightBits::scopeBits, kernel->scopeBits);
  return isKnown ? kernel : std::nullopt;
}

int errorOfLandlock() noexcept {
  return Ruleset().create(kernelRightsOf(1).fileBits, 0, 0) ? 0 : errno;
}

}  // namespace vanto
