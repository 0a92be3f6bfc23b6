// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Children.h"

#include <algorithm>

namespace vanto::manager {

void Children::erase(pid_t pid, std::uint64_t now) {
  if (running_.erase(pid) == 0) return;
  while (!ended_.empty() && now - ended_.front().time > memory) ended_.pop_front();
  ended_.push_back({pid, now});
  if (observer_) observer_();
}

bool Children::hasEnded(pid_t pid, std::uint64_t now) const {
  return std::any_of(ended_.begin(), ended_.end(),
                     [=](const Ended& ended) { return ended.pid == pid && now - ended.time <= memory; });
}

}  // namespace vanto::manager
