// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto::manager {

/// How often something may be done in a span of time, after which it may be done as often again. Times are nanoseconds
/// of one clock. Not thread-safe.
class Allowance {
 public:
  constexpr Allowance(std::uint32_t count, std::uint64_t span) noexcept : count_(count), span_(span) {}

  /// Does it once, whether that is allowed or not. Whether it may be done again before renewal().
  [[nodiscard]] bool use(std::uint64_t now) noexcept;
  /// When the span is over in which it was done last.
  [[nodiscard]] std::uint64_t renewal() const noexcept { return begin_ + span_; }

 private:
  std::uint32_t count_;
  std::uint64_t span_;
  std::uint64_t begin_ = 0;
  std::uint32_t used_ = 0;
};

}  // namespace vanto::manager
