// SPDX-License-Identifier: Apache-2.0
#include "vanto/RulePlace.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

#include "value/Fd.h"

namespace vanto::tool {

RulePlace rulePlaceOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return errno == ENOENT || errno == ENOTDIR ? RulePlace::Absent : RulePlace::Directory;
  }
  return S_ISDIR(status.st_mode) ? RulePlace::Directory : RulePlace::File;
}

std::string placelessEndOf(const std::string& path) {
  const Fd end(open(path.c_str(), O_PATH | O_CLOEXEC));
  std::error_code error;
  const std::string name = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(end.get()), error).string();
  return name.starts_with('/') ? std::string() : name;
}

RightSet idleRightsAt(RulePlace place, RightSet rights) noexcept {
  if (place == RulePlace::Absent) return rights;
  if (place == RulePlace::Directory) return {};
  return rights & (RightSet(Right::Create) | Right::Remove | Right::Rename);
}

}  // namespace vanto::tool
