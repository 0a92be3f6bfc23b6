// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto::manager {

/// Says when to write down that a name was lost: two who take it from each other shall not fill a log. Main thread
/// only.
class LossLog {
 public:
  /// In nanoseconds.
  static constexpr std::uint64_t quietTime = 60'000'000'000;

  /// Whether this loss is worth a line: the first of its kind, mended or not, and one each quietTime thereafter. `now`
  /// is in nanoseconds, of one clock.
  [[nodiscard]] bool isDue(bool isMended, std::uint64_t now) noexcept {
    std::uint64_t& next = next_[isMended ? 1 : 0];
    if (now < next) return false;
    next = now + quietTime;
    return true;
  }

 private:
  std::uint64_t next_[2] = {};
};

}  // namespace vanto::manager
