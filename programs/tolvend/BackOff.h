// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto::manager {

/// How long to wait before a service that failed is started again: 100 ms, and twice as long after each further failure
/// up to 30 s, less up to a quarter by chance, so that services that failed together do not start together.
class BackOff {
 public:
  static constexpr std::uint64_t first = 100'000'000;
  static constexpr std::uint64_t longest = 30'000'000'000;
  /// A process that ran so long has recovered: its failure is the first one again.
  static constexpr std::uint64_t healthy = 60'000'000'000;

  /// `seed` decides about chance.
  explicit BackOff(std::uint64_t seed) noexcept : random_(seed) {}

  /// Counts a failure after a run of `ran` nanoseconds; the pause before the next start.
  [[nodiscard]] std::uint64_t failed(std::uint64_t ran) noexcept;
  void reset() noexcept { failures_ = 0; }

 private:
  std::uint32_t failures_ = 0;
  std::uint64_t random_;
};

}  // namespace vanto::manager
