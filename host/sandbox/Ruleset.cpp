// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Ruleset.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace vanto {
namespace {

// The kernel's numbers and structures, which are the same on all machines. Our own, since the headers of a system are
// often older than its kernel.
constexpr long createRuleset = 444;
constexpr long addRule = 445;
constexpr long restrictSelf = 446;
constexpr int ruleOfPath = 1;
constexpr int ruleOfPort = 2;

struct RulesetFields {
  std::uint64_t fileBits;
  std::uint64_t networkBits;
  std::uint64_t scopeBits;
};

struct [[gnu::packed]] PathFields {
  std::uint64_t bits;
  std::int32_t place;
};

struct PortFields {
  std::uint64_t bits;
  std::uint64_t port;
};

}  // namespace

bool Ruleset::create(std::uint64_t fileBits, std::uint64_t networkBits, std::uint64_t scopeBits) noexcept {
  // Kernels that know fewer fields take the others as long as they are 0.
  const RulesetFields fields{fileBits, networkBits, scopeBits};
  // The descriptor is close-on-exec from birth.
  ruleset_.reset(static_cast<int>(syscall(createRuleset, &fields, sizeof fields, 0)));
  return static_cast<bool>(ruleset_);
}

bool Ruleset::allowPath(int place, std::uint64_t bits) const noexcept {
  const PathFields fields{bits, place};
  return syscall(addRule, ruleset_.get(), ruleOfPath, &fields, 0) == 0;
}

bool Ruleset::allowPort(std::uint16_t port, std::uint64_t bits) const noexcept {
  const PortFields fields{bits, port};
  return syscall(addRule, ruleset_.get(), ruleOfPort, &fields, 0) == 0;
}

bool Ruleset::enter() const noexcept {
  return syscall(restrictSelf, ruleset_.get(), 0) == 0;
}

}  // namespace vanto
