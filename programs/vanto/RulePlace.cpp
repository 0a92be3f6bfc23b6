// SPDX-License-Identifier: Apache-2.0
#include "vanto/RulePlace.h"

#include <cerrno>

#include <sys/stat.h>

namespace vanto::tool {

RulePlace rulePlaceOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return errno == ENOENT || errno == ENOTDIR ? RulePlace::Absent : RulePlace::Directory;
  }
  return S_ISDIR(status.st_mode) ? RulePlace::Directory : RulePlace::File;
}

RightSet idleRightsAt(RulePlace place, RightSet rights) noexcept {
  if (place == RulePlace::Absent) return rights;
  if (place == RulePlace::Directory) return {};
  return rights & (RightSet(Right::Create) | Right::Remove | Right::Rename);
}

}  // namespace vanto::tool
