// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vanto::soak {

/// How long after a start failed those who waited for it were told, in nanoseconds. One thread.
class ToldTimes {
 public:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static constexpr bool areJudged = false;
#else
  static constexpr bool areJudged = true;
#endif

  void add(const std::string& failure, std::int64_t time) {
    times_[failure].push_back(time);
  }
  /// Notes a client of whom it is not known which failure it was told of.
  void addUnclear() noexcept {
    unclear_++;
  }

  /// Prints the figures. True unless of one failure more than one in a hundred were told later than after 100 ms, where
  /// a single one never counts, or it is not known of anybody when they were to be told. A soak measures, so it may
  /// judge times, as a unit test does not; under a sanitizer it does not either.
  [[nodiscard]] bool report() const;

 private:
  std::map<std::string, std::vector<std::int64_t>> times_;
  int unclear_ = 0;
};

}  // namespace vanto::soak
