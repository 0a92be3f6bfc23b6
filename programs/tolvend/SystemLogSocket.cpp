// SPDX-License-Identifier: Apache-2.0
#include "tolvend/SystemLogSocket.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "ipc/PeerCredentials.h"
#include "tolvend/ErrorNumber.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

/// What is beyond this of a message is cut.
constexpr std::size_t messageBytes = std::size_t{8} << 10;
constexpr std::size_t longestPriority = 3;

Fd newSocket() noexcept {
  return Fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

const sockaddr* generic(const sockaddr_un& address) noexcept {
  return reinterpret_cast<const sockaddr*>(&address);
}

/// The process that a message says it is from, as the kernel has checked; 0 for none.
pid_t senderOf(msghdr& message) noexcept {
  const cmsghdr* control = CMSG_FIRSTHDR(&message);
  if (control == nullptr || control->cmsg_level != SOL_SOCKET || control->cmsg_type != SCM_CREDENTIALS) return 0;
  ucred credentials;
  std::memcpy(&credentials, CMSG_DATA(control), sizeof credentials);
  return credentials.pid;
}

}  // namespace

std::string_view withoutPriority(std::string_view line) noexcept {
  const std::size_t end = line.find('>');
  if (!line.starts_with('<') || end == std::string_view::npos || end < 2 || end > longestPriority + 1) return line;
  for (const char digit : line.substr(1, end - 1)) {
    if (digit < '0' || digit > '9') return line;
  }
  return line.substr(end + 1);
}

SystemLogSocket::~SystemLogSocket() {
  struct stat facts;
  if (!path_.empty() && lstat(path_.c_str(), &facts) == 0 && facts.st_ino == inode_) unlink(path_.c_str());
}

std::string SystemLogSocket::bindTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return "its path is too long";
  std::memcpy(address.sun_path, path.c_str(), path.size());
  struct stat facts;
  if (lstat(path.c_str(), &facts) == 0) {
    const Fd probe = newSocket();
    const bool isLeft = S_ISSOCK(facts.st_mode) && probe &&
                        connect(probe.get(), generic(address), sizeof address) != 0 && errno == ECONNREFUSED;
    if (!isLeft) return "somebody else receives there";
    unlink(path.c_str());
  }
  if (bind(socket_.get(), generic(address), sizeof address) != 0) return errorNumberText(errno);
  if (lstat(path.c_str(), &facts) != 0) return errorNumberText(errno);
  inode_ = facts.st_ino;
  path_ = path;
  return {};
}

std::string SystemLogSocket::open(const std::string& path) {
  socket_ = newSocket();
  if (!socket_ || !enableSenderCredentials(socket_.get())) return errorNumberText(errno);
  if (std::string error = bindTo(path); !error.empty()) return error;
  const int error = watch_.start(socket_.get(), EPOLLIN, [this](std::uint32_t) { receive(); });
  return error == 0 ? "" : errorNumberText(error);
}

void SystemLogSocket::receive() {
  char text[messageBytes];
  for (int i = 0; i < limits::managerLogTurn; i++) {
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    iovec vector{text, sizeof text};
    msghdr message{};
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size < 0) return;
    std::string_view line(text, static_cast<std::size_t>(size));
    // Some senders end a line as if it were a string, some as in a file.
    while (line.ends_with('\n') || line.ends_with('\0')) line.remove_suffix(1);
    if (const pid_t pid = senderOf(message); pid > 0) receiver_(pid, withoutPriority(line));
  }
}

}  // namespace vanto::manager
