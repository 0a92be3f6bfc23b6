// SPDX-License-Identifier: Apache-2.0
#include "tolvend/BoundSockets.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vanto::manager {

int BoundSockets::open(Fd domain, int own) {
  domain_ = std::move(domain);
  if (!domain_) return EBADF;
  if (mkdirat(own, "sockets", 0700) != 0 && errno != EEXIST) return errno;
  folder_.reset(openat(own, "sockets", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return folder_ ? 0 : errno;
}

void BoundSockets::put(const std::string& file) const noexcept {
  remove(file);
  static_cast<void>(linkat(domain_.get(), file.c_str(), folder_.get(), file.c_str(), 0));
}

bool BoundSockets::has(const std::string& file) const noexcept {
  struct stat noted;
  struct stat current;
  // As long as there is the link, no other socket gets its number.
  return fstatat(folder_.get(), file.c_str(), &noted, AT_SYMLINK_NOFOLLOW) == 0 &&
         fstatat(domain_.get(), file.c_str(), &current, AT_SYMLINK_NOFOLLOW) == 0 && noted.st_ino == current.st_ino &&
         noted.st_dev == current.st_dev;
}

int BoundSockets::restore(const std::string& file) const noexcept {
  struct stat current;
  if (fstatat(domain_.get(), file.c_str(), &current, AT_SYMLINK_NOFOLLOW) != 0) {
    return linkat(folder_.get(), file.c_str(), domain_.get(), file.c_str(), 0) == 0 ? 0 : errno;
  }
  if (!S_ISSOCK(current.st_mode)) return ENOTSOCK;
  constexpr const char* temporary = ".again";
  unlinkat(domain_.get(), temporary, 0);
  if (linkat(folder_.get(), file.c_str(), domain_.get(), temporary, 0) != 0) return errno;
  const int error = renameat(domain_.get(), temporary, domain_.get(), file.c_str()) == 0 ? 0 : errno;
  // Nothing was renamed where both are the same socket.
  unlinkat(domain_.get(), temporary, 0);
  return error;
}

void BoundSockets::remove(const std::string& file) const noexcept {
  unlinkat(folder_.get(), file.c_str(), 0);
}

}  // namespace vanto::manager
