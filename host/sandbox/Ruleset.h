// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "value/Fd.h"

namespace vanto {

/// A Landlock ruleset. Each operation gives false, with errno, when the kernel refuses it.
class Ruleset {
 public:
  /// Begins one about the given bits; without a rule each of them is denied.
  [[nodiscard]] bool create(std::uint64_t fileBits, std::uint64_t networkBits, std::uint64_t scopeBits) noexcept;

  /// Allows `bits` at the file or directory that `place` is open on, and beneath it.
  [[nodiscard]] bool allowPath(int place, std::uint64_t bits) const noexcept;
  [[nodiscard]] bool allowPort(std::uint16_t port, std::uint64_t bits) const noexcept;

  /// Confines the calling thread, and all that it makes, for good. It must be without new privileges.
  [[nodiscard]] bool enter() const noexcept;

 private:
  Fd ruleset_;
};

}  // namespace vanto
