// SPDX-License-Identifier: Apache-2.0
#include "sandbox/DirectorySet.h"

#include <algorithm>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace vanto {
namespace {

/// A directory in the tree of mounts. The mount tells the root from a directory that is mounted within itself.
struct Location {
  std::pair<std::uint64_t, std::uint64_t> identity;
  std::uint64_t mount;

  [[nodiscard]] friend bool operator==(const Location& left, const Location& right) noexcept = default;
};

std::optional<Location> locationOf(int directory) noexcept {
  struct statx facts {};
  if (statx(directory, "", AT_EMPTY_PATH, STATX_INO | STATX_MNT_ID, &facts) != 0) return std::nullopt;
  return Location{{makedev(facts.stx_dev_major, facts.stx_dev_minor), facts.stx_ino}, facts.stx_mnt_id};
}

}  // namespace

void DirectorySet::add(const Fd& directory) {
  if (const auto location = locationOf(directory.get())) directories_.push_back(location->identity);
}

bool DirectorySet::covers(const Fd& directory) const {
  Fd above;
  int here = directory.get();
  for (std::optional<Location> location = locationOf(here); location;) {
    if (std::ranges::find(directories_, location->identity) != directories_.end()) return true;
    above = Fd(openat(here, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!above) return true;
    const std::optional<Location> next = locationOf(above.get());
    // The root is above itself.
    if (next == location) return false;
    location = next;
    here = above.get();
  }
  return true;
}

}  // namespace vanto
