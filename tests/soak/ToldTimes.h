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

  /// Prints the figures. None is judged here: what a busy machine adds is nobody's fault.
  void report() const;

 private:
  std::map<std::string, std::vector<std::int64_t>> times_;
  int unclear_ = 0;
};

}  // namespace vanto::soak
