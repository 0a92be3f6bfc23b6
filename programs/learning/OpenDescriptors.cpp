// SPDX-License-Identifier: Apache-2.0
#include "learning/OpenDescriptors.h"

#include "learning/limits.h"

namespace vanto::learning {

void OpenDescriptors::set(std::int64_t descriptor, const std::string& path) {
  // Where there is no room, what was known before must not stay in its place.
  paths_.erase(descriptor);
  if (!path.empty() && paths_.size() < limits::descriptors) {
    paths_.emplace(descriptor, std::make_shared<const std::string>(path));
  }
}

std::string OpenDescriptors::pathOf(std::int64_t descriptor) const {
  const auto found = paths_.find(descriptor);
  return found == paths_.end() ? std::string() : *found->second;
}

}  // namespace vanto::learning
