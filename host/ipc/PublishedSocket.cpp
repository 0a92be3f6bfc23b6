// SPDX-License-Identifier: Apache-2.0
#include "ipc/PublishedSocket.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
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

/// VANTO_ERROR_IN_USE when somebody listens on the socket called `file`, VANTO_ERROR_SYSTEM with errno when there is
/// not what it takes to find out.
vanto_error_code_t judgeRival(int directory, const char* file) noexcept {
  if (connectToSocket(directory, file, 0)) return VANTO_ERROR_IN_USE;
  switch (errno) {
    case ECONNREFUSED:
    case ENOENT:
      return VANTO_ERROR_NONE;
    // More wait than may, this process may not, or it listens for another kind of connection.
    case EAGAIN:
    case EACCES:
    case EPERM:
    case EPROTOTYPE:
      return VANTO_ERROR_IN_USE;
    default:
      return VANTO_ERROR_SYSTEM;
  }
}

/// What is there under a name.
enum class Occupant : std::uint8_t { None, Socket, Other };

Occupant occupantOf(int directory, const char* file) noexcept {
  struct stat facts;
  if (fstatat(directory, file, &facts, AT_SYMLINK_NOFOLLOW) != 0) return Occupant::None;
  return S_ISSOCK(facts.st_mode) ? Occupant::Socket : Occupant::Other;
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

/// Keeps other processes from binding or removing names in a directory. None has it for more than a moment, but for one
/// that was stopped meanwhile, and nobody shall wait for that.
class DirectoryLock {
 public:
  explicit DirectoryLock(const Fd& directory) noexcept : directory_(directory.get()) {
    constexpr int tries = 500;
    constexpr timespec pause{0, 1'000'000};
    for (int i = 0; i < tries && !isHeld_; i++) {
      if (i > 0) nanosleep(&pause, nullptr);
      isHeld_ = flock(directory_, LOCK_EX | LOCK_NB) == 0;
      if (!isHeld_ && errno != EWOULDBLOCK && errno != EINTR) return;
    }
  }
  ~DirectoryLock() {
    if (isHeld_) flock(directory_, LOCK_UN);
  }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

  /// Whether it came about; else there is errno.
  [[nodiscard]] bool isHeld() const noexcept { return isHeld_; }

 private:
  const int directory_;
  bool isHeld_ = false;
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
  ownDirectory_ = std::move(directory);
  if (!ownDirectory_) return VANTO_ERROR_SYSTEM;
  const DirectoryLock lock(ownDirectory_);
  return lock.isHeld() ? bindIn(ownDirectory_.get(), file, access, rival) : VANTO_ERROR_SYSTEM;
}

vanto_error_code_t PublishedSocket::openShared(int directory, const std::string& file, Access access,
                                               Rival rival) noexcept {
  ownDirectory_.reset();
  return bindIn(directory, file, access, rival);
}

vanto_error_code_t PublishedSocket::bindIn(int directory, const std::string& file, Access access,
                                           Rival rival) noexcept {
  directory_ = directory;
  socket_ = createSocket(SOCK_NONBLOCK);
  if (!socket_ || !enableSenderCredentials(socket_.get())) return VANTO_ERROR_SYSTEM;
  const Occupant occupant = occupantOf(directory_, file.c_str());
  if (occupant == Occupant::Other) {
    errno = ENOTSOCK;
    return VANTO_ERROR_SYSTEM;
  }
  const Place place = rival == Rival::Replace || occupant == Occupant::Socket ? Place::Taken : Place::Free;
  if (rival == Rival::Respect) {
    const vanto_error_code_t code = judgeRival(directory_, file.c_str());
    if (code != VANTO_ERROR_NONE) return code;
  }
  // Bound under a short name, which always fits into an address, and renamed when it listens: nobody ever finds a
  // socket under the service's name that does not listen yet.
  const std::string temporary = ".new-" + std::to_string(getpid());
  unlinkat(directory_, temporary.c_str(), 0);
  const sockaddr_un address = addressOf(directory_, temporary.c_str());
  if (bind(socket_.get(), generic(address), sizeof address) != 0) return VANTO_ERROR_SYSTEM;
  const vanto_error_code_t code = publish(file, temporary, access, place);
  const int error = errno;
  if (code != VANTO_ERROR_NONE) unlinkat(directory_, temporary.c_str(), 0);
  errno = error;
  return code;
}

vanto_error_code_t PublishedSocket::publish(const std::string& file, const std::string& temporary, Access access,
                                            Place place) noexcept {
  struct stat facts;
  if (fstatat(directory_, temporary.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) return VANTO_ERROR_SYSTEM;
  // The sticky bit keeps those who tidy up run-time directories away. It is no loss where it cannot be set; that
  // everybody may connect, where they shall, is more than the file mode mask grants.
  const mode_t mode = S_ISVTX | (access == Access::Everybody ? 0666 : 0600);
  const bool hasMode = fchmodat(directory_, temporary.c_str(), mode, 0) == 0;
  if (!hasMode && access == Access::Everybody) return VANTO_ERROR_SYSTEM;
  if (listen(socket_.get(), SOMAXCONN) != 0) return VANTO_ERROR_SYSTEM;
  // Somebody without a manager may have bound the name since it was free.
  const bool isNew =
      place == Place::Free && renameat2(directory_, temporary.c_str(), directory_, file.c_str(), RENAME_NOREPLACE) == 0;
  if (!isNew && place == Place::Free && errno == EEXIST) return VANTO_ERROR_IN_USE;
  // Else it takes the place of a socket that nobody listens on any more, or the file system does not tell.
  if (!isNew && renameat(directory_, temporary.c_str(), directory_, file.c_str()) != 0) return VANTO_ERROR_SYSTEM;
  file_ = file;
  inode_ = facts.st_ino;
  return VANTO_ERROR_NONE;
}

void PublishedSocket::close() noexcept {
  if (ownDirectory_) {
    const DirectoryLock lock(ownDirectory_);
    // Without it the name may be another socket's by the time it is removed: better it stays, which nobody minds.
    if (lock.isHeld()) unlinkOwn();
  } else {
    unlinkOwn();
  }
  file_.clear();
  ownDirectory_.reset();
  directory_ = -1;
  socket_.reset();
}

bool PublishedSocket::isPublished() const noexcept {
  struct stat facts;
  return !file_.empty() && fstatat(directory_, file_.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 &&
         facts.st_ino == inode_;
}

void PublishedSocket::unlinkOwn() const noexcept {
  if (isPublished()) unlinkat(directory_, file_.c_str(), 0);
}

}  // namespace vanto
