// SPDX-License-Identifier: Apache-2.0
#include "system/OwnRoot.h"

#include <cerrno>
#include <filesystem>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vanto::test {
namespace {

namespace fs = std::filesystem;

bool show(const fs::directory_entry& entry, const fs::path& place) {
  if (entry.is_symlink()) return symlink(fs::read_symlink(entry).c_str(), place.c_str()) == 0;
  if (!entry.is_directory()) return true;
  return mkdir(place.c_str(), 0755) == 0 &&
         mount(entry.path().c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

}  // namespace

bool enterOwnRoot(const std::string& path) {
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  if (mount("none", path.c_str(), "tmpfs", 0, "mode=755") != 0) return false;
  for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
    if (!show(entry, fs::path(path) / entry.path().filename())) return false;
  }
  return chroot(path.c_str()) == 0 && chdir("/") == 0;
}

}  // namespace vanto::test
