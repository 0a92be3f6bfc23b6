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
  void add(const std::string& failure, std::int64_t time) { times_[failure].push_back(time); }
  /// Notes a client of whom it is not known which failure it was told of.
  void addUnclear() noexcept { unclear_++; }

  enum class Lateness : std::uint8_t { Shown, Judged };
  /// Prints the figures. False when clients were told and it is not known of any when they were to be; and, where
  /// lateness is judged, when there is no figure, and when of one failure more than one in a hundred, and more than a
  /// single one, were told later than after 100 ms.
  [[nodiscard]] bool report(Lateness lateness) const;

 private:
  std::map<std::string, std::vector<std::int64_t>> times_;
  int unclear_ = 0;
};

}  // namespace vanto::soak
