// SPDX-License-Identifier: Apache-2.0
#include "vanto/RunPlaces.h"

#include <string_view>
#include <tuple>

#include <fcntl.h>
#include <sys/stat.h>

#include "vanto/RealPlaces.h"
#include "vanto/ServicePath.h"

namespace vanto::tool {
namespace {

std::string parentOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return std::string(slash == 0 || slash == std::string_view::npos ? "/" : path.substr(0, slash));
}

/// Whether the file was made since then, or may have been: one that is gone, or of a file system that does not say.
bool isMadeSince(const std::string& path, const timespec& began) {
  struct statx facts;
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_BTIME, &facts) != 0) return true;
  if ((facts.stx_mask & STATX_BTIME) == 0) return S_ISREG(facts.stx_mode);
  const std::tuple born(facts.stx_btime.tv_sec, static_cast<long>(facts.stx_btime.tv_nsec));
  return born >= std::tuple(began.tv_sec, began.tv_nsec);
}

}  // namespace

std::string realName(const std::string& path) {
  const std::string_view name = ServicePath::trimmed(path);
  if (name == "/") return "/";
  const std::string directory = realPath(parentOf(name));
  return (directory == "/" ? "" : directory) + "/" + std::string(ServicePath::name(name));
}

RunPlaces::RunPlaces(const learning::RunFacts& facts, const timespec& began) {
  for (const std::string& path : facts.made) {
    (facts.sockets.contains(path) ? sockets_ : others_).insert(realName(path));
  }
  for (const std::string& path : facts.nameless) nameless_.insert(realName(path));
  for (const std::string& path : facts.openedOrMade) {
    std::string real = realPath(path);
    if (!nameless_.contains(real) && isMadeSince(real, began)) others_.insert(std::move(real));
  }
}

bool RunPlaces::isMade(std::string_view real) const {
  return sockets_.contains(real) || others_.contains(real) || nameless_.contains(real);
}

/// The shortest of the paths that the run made decides, as all that lies beneath was made later.
std::string RunPlaces::before(const std::string& real) const {
  for (std::size_t end = real.find('/', 1);; end = real.find('/', end + 1)) {
    const std::string place = real.substr(0, end);
    if (isMade(place)) return parentOf(place);
    if (end == std::string::npos) return real;
  }
}

std::string RunPlaces::ofFile(const std::string& path) const {
  return before(realPath(path));
}

std::string RunPlaces::ofDirectoryOf(const std::string& path) const {
  return before(parentOf(realName(path)));
}

std::set<std::string> RunPlaces::directoriesOf(const Names& names) const {
  std::set<std::string> directories;
  for (const std::string& path : names) directories.insert(before(parentOf(path)));
  return directories;
}

}  // namespace vanto::tool
