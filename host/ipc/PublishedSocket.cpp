// SPDX-License-Identifier: Apache-2.0
#include "ipc/PublishedSocket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "ipc/PeerCredentials.h"

namespace vanto {

namespace {

Fd createSocket(int flags) noexcept {
  return Fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
}

/// An address by way of a descriptor, which is short however long the path of what it stands for is.
sockaddr_un addressOf(int descriptor, const char* file) noexcept {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const char* format = *file != '\0' ? "/proc/self/fd/%d/%s" : "/proc/self/fd/%d%s";
  std::snprintf(address.sun_path, sizeof address.sun_path, format, descriptor, file);
  return address;
}

const sockaddr* generic(const sockaddr_un& address) noexcept {
  return reinterpret_cast<const sockaddr*>(&address);
}

/// Whether somebody listens on the socket called `file`.
bool isServed(int directory, const char* file) noexcept {
  const Fd socket = connectToSocket(directory, file, 0);
  return socket || (errno != ECONNREFUSED && errno != ENOENT && errno != ENOTSOCK);
}

void setTimeout(int socket, std::uint64_t nanoseconds) noexcept {
  const std::uint64_t microseconds = std::max<std::uint64_t>(nanoseconds / 1000, 1);
  const timeval time{static_cast<time_t>(microseconds / 1'000'000), static_cast<suseconds_t>(microseconds % 1'000'000)};
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

Fd connectToAddress(const sockaddr_un& address, std::uint64_t deadline) noexcept {
  Fd socket = createSocket(0);
  // Before the connection exists, so that the first frame already tells its sender.
  if (!socket || !enableSenderCredentials(socket.get())) return {};
  do {
    // Once more after each signal, or these would stretch the time.
    if (deadline != UINT64_MAX) setTimeout(socket.get(), remainingUntil(deadline));
    if (connect(socket.get(), generic(address), sizeof address) == 0) return socket;
  } while (errno == EINTR && remainingUntil(deadline) != 0);
  if (errno == EINTR) errno = EAGAIN;
  return {};
}

/// Keeps other processes from binding or removing names in a directory.
class DirectoryLock {
 public:
  explicit DirectoryLock(const Fd& directory) noexcept : directory_(directory.get()) {
    while (flock(directory_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  ~DirectoryLock() { flock(directory_, LOCK_UN); }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

 private:
  const int directory_;
};

}  // namespace

Fd connectToSocket(int directory, const char* file, std::uint64_t deadline) noexcept {
  const Fd place(openat(directory, file, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat facts;
  if (!place || fstat(place.get(), &facts) != 0) return {};
  if (!S_ISSOCK(facts.st_mode)) {
    errno = ENOTSOCK;
    return {};
  }
  return connectToAddress(addressOf(place.get(), ""), deadline);
}

Fd connectToPath(const char* path, std::uint64_t deadline) noexcept {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
  return connectToAddress(address, deadline);
}

vanto_error_code_t PublishedSocket::open(Fd directory, const std::string& file, Access access, Rival rival) noexcept {
  directory_ = std::move(directory);
  socket_ = createSocket(SOCK_NONBLOCK);
  if (!directory_ || !socket_ || !enableSenderCredentials(socket_.get())) return VANTO_ERROR_SYSTEM;
  const DirectoryLock lock(directory_);
  if (rival == Rival::Respect && isServed(directory_.get(), file.c_str())) return VANTO_ERROR_IN_USE;
  // Bound under a short name, which always fits into an address, and renamed when it listens: nobody ever finds a
  // socket under the service's name that does not listen yet.
  const std::string temporary = ".new-" + std::to_string(getpid());
  unlinkat(directory_.get(), temporary.c_str(), 0);
  const sockaddr_un address = addressOf(directory_.get(), temporary.c_str());
  if (bind(socket_.get(), generic(address), sizeof address) != 0) return VANTO_ERROR_SYSTEM;
  const vanto_error_code_t code = publish(file, temporary, access);
  const int error = errno;
  if (code != VANTO_ERROR_NONE) unlinkat(directory_.get(), temporary.c_str(), 0);
  errno = error;
  return code;
}

vanto_error_code_t PublishedSocket::publish(const std::string& file, const std::string& temporary,
                                            Access access) noexcept {
  struct stat facts;
  if (fstatat(directory_.get(), temporary.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) return VANTO_ERROR_SYSTEM;
  // The sticky bit keeps those who tidy up run-time directories away. It is no loss where it cannot be set; that
  // everybody may connect, where they shall, is more than the file mode mask grants.
  const mode_t mode = S_ISVTX | (access == Access::Everybody ? 0666 : 0600);
  const bool hasMode = fchmodat(directory_.get(), temporary.c_str(), mode, 0) == 0;
  if (!hasMode && access == Access::Everybody) return VANTO_ERROR_SYSTEM;
  if (listen(socket_.get(), SOMAXCONN) != 0) return VANTO_ERROR_SYSTEM;
  // Takes the place of a socket that nobody listens on any more.
  if (renameat(directory_.get(), temporary.c_str(), directory_.get(), file.c_str()) != 0) return VANTO_ERROR_SYSTEM;
  file_ = file;
  inode_ = facts.st_ino;
  return VANTO_ERROR_NONE;
}

void PublishedSocket::close() noexcept {
  if (directory_ && !file_.empty()) {
    const DirectoryLock lock(directory_);
    struct stat facts;
    const bool isOurs =
        fstatat(directory_.get(), file_.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 && facts.st_ino == inode_;
    if (isOurs) unlinkat(directory_.get(), file_.c_str(), 0);
    file_.clear();
  }
  directory_.reset();
  socket_.reset();
}

}  // namespace vanto
