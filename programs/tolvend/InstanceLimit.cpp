// SPDX-License-Identifier: Apache-2.0
#include "tolvend/InstanceLimit.h"

#include "value/Assertion.h"
#include "value/limits.h"

namespace vanto::manager {

bool InstanceLimit::take(uid_t user) {
  std::size_t& count = instances_[user];
  if (count >= limits::instancesPerUser) return false;
  ++count;
  return true;
}

void InstanceLimit::giveBack(uid_t user) noexcept {
  const auto found = instances_.find(user);
  VANTO_ASSERT(found != instances_.end());
  if (--found->second == 0) instances_.erase(found);
}

std::size_t InstanceLimit::count(uid_t user) const noexcept {
  const auto found = instances_.find(user);
  return found == instances_.end() ? 0 : found->second;
}

}  // namespace vanto::manager
