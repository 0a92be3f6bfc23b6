// SPDX-License-Identifier: Apache-2.0
#include "sandbox/DirectorySet.h"

#include <algorithm>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace vanto {

std::optional<DirectorySet::Location> DirectorySet::locationOf(int directory) noexcept {
  struct statx facts {};
  if (statx(directory, "", AT_EMPTY_PATH, STATX_INO | STATX_MNT_ID, &facts) != 0) return std::nullopt;
  return Location{{makedev(facts.stx_dev_major, facts.stx_dev_minor), facts.stx_ino}, facts.stx_mnt_id};
}

void DirectorySet::add(const Fd& directory) {
  if (const auto location = locationOf(directory.get())) directories_.push_back(location->identity);
  outside_.clear();
}

bool DirectorySet::covers(const Fd& directory) {
  std::vector<Location> passed;
  Fd above;
  int here = directory.get();
  for (;;) {
    const std::optional<Location> location = locationOf(here);
    if (!location || std::ranges::find(directories_, location->identity) != directories_.end()) return true;
    // The root is above itself. By its mount it differs from a directory that is mounted within itself.
    const bool isRoot = !passed.empty() && passed.back() == *location;
    if (isRoot || std::ranges::find(outside_, *location) != outside_.end()) break;
    passed.push_back(*location);
    above = Fd(openat(here, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!above) return true;
    here = above.get();
  }
  outside_.insert(outside_.end(), passed.begin(), passed.end());
  return false;
}

}  // namespace vanto
