// SPDX-License-Identifier: Apache-2.0
#include "ipc/InheritedSockets.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

#include "ipc/SocketName.h"
#include "value/limits.h"

namespace vanto {

namespace {

constexpr int firstInherited = 3;
/// Begins with a dot, as no file name of a service's socket does.
constexpr std::string_view linkName = ".manager";

/// What was handed over, in order.
struct Inheritance {
  int count = 0;
  bool wasRead = false;
  bool isTaken[limits::ipcInheritedListeners] = {};
  /// The text of LISTEN_FDNAMES; kept for the life of the process.
  const char* names = "";
};

constinit std::mutex mutex;
constinit Inheritance inheritance;

int numberIn(const char* variable) noexcept {
  const char* text = getenv(variable);
  int number = 0;
  if (text == nullptr) return 0;
  const char* end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, number);
  return error == std::errc() && rest == end ? number : 0;
}

void readEnvironment() noexcept {
  if (std::exchange(inheritance.wasRead, true)) return;
  const int count = numberIn("LISTEN_FDS");
  if (numberIn("LISTEN_PID") == getpid() && count > 0) {
    inheritance.count = count;
    const char* names = getenv("LISTEN_FDNAMES");
    if (names != nullptr) inheritance.names = strdup(names);
    const auto last = static_cast<unsigned>(firstInherited - 1) + static_cast<unsigned>(count);
    static_cast<void>(close_range(firstInherited, last, CLOSE_RANGE_CLOEXEC));
  }
  for (const char* variable : {"LISTEN_FDS", "LISTEN_PID", "LISTEN_FDNAMES", "LISTEN_PIDFDID"}) unsetenv(variable);
}

std::string_view nameOf(int index) noexcept {
  std::string_view names = inheritance.names;
  for (int i = 0; i < index; i++) {
    const std::size_t colon = names.find(':');
    if (colon == std::string_view::npos) return {};
    names.remove_prefix(colon + 1);
  }
  return names.substr(0, names.find(':'));
}

bool isUnnamed(std::string_view name) noexcept {
  return name.empty() || name == "unknown" || name.ends_with(".socket");
}

bool hasOption(int socket, int option, int expected) noexcept {
  int value = 0;
  socklen_t size = sizeof value;
  return getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 && value == expected;
}

bool isConnected(int socket) noexcept {
  sockaddr_storage address;
  socklen_t size = sizeof address;
  return getpeername(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0;
}

bool isOfType(int socket, InheritedSocket type) noexcept {
  if (!hasOption(socket, SO_DOMAIN, AF_UNIX) || !hasOption(socket, SO_TYPE, SOCK_SEQPACKET)) return false;
  return type == InheritedSocket::Listening ? hasOption(socket, SO_ACCEPTCONN, 1) : isConnected(socket);
}

bool isLink(int index) noexcept {
  return nameOf(index) == linkName;
}

bool isFor(int index, std::string_view name) noexcept {
  const std::string_view given = nameOf(index);
  return !isLink(index) && (given == name || (!given.empty() && given == socketFileName(name)) ||
                            (inheritance.count == 1 && isUnnamed(given)));
}

/// The index of the first one of a type that is left and that `isWanted`, called with its index, picks; -1 where there
/// is none.
template <typename Predicate>
int indexOfFirst(InheritedSocket type, const Predicate& isWanted) noexcept {
  for (int i = 0; i < inheritance.count; i++) {
    if (!inheritance.isTaken[i] && isWanted(i) && isOfType(firstInherited + i, type)) return i;
  }
  return -1;
}

template <typename Predicate>
Fd takeFirst(InheritedSocket type, const Predicate& isWanted) noexcept {
  const int index = indexOfFirst(type, isWanted);
  if (index < 0) return {};
  inheritance.isTaken[index] = true;
  return Fd(firstInherited + index);
}

}  // namespace

vanto_error_code_t takeInheritedSocket(std::string_view name, InheritedSocket type, Fd& socket) noexcept {
  const std::lock_guard lock(mutex);
  readEnvironment();
  if (inheritance.count > limits::ipcInheritedListeners) return VANTO_ERROR_TOO_LARGE;
  if (Fd taken = takeFirst(type, [name](int index) { return isFor(index, name); })) socket = std::move(taken);
  return VANTO_ERROR_NONE;
}

bool hasInheritedSocket(std::string_view name) noexcept {
  const std::lock_guard lock(mutex);
  readEnvironment();
  if (inheritance.count > limits::ipcInheritedListeners) return false;
  const auto isWanted = [name](int index) {
    return isFor(index, name);
  };
  return indexOfFirst(InheritedSocket::Listening, isWanted) >= 0 ||
         indexOfFirst(InheritedSocket::Connected, isWanted) >= 0;
}

Fd takeManagerLink() noexcept {
  const std::lock_guard lock(mutex);
  readEnvironment();
  if (inheritance.count > limits::ipcInheritedListeners) return {};
  return takeFirst(InheritedSocket::Connected, isLink);
}

}  // namespace vanto
