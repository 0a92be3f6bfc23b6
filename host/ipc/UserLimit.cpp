// SPDX-License-Identifier: Apache-2.0
#include "ipc/UserLimit.h"

#include <mutex>
#include <new>

#include <sys/resource.h>

#include "ipc/Activity.h"
#include "value/Memory.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// What one user has. Kept for the life of the process: there are no more of them than users.
struct UserCount {
  uid_t user;
  std::size_t connections;
  std::size_t bytes;
  UserCount* next;
};

constinit std::mutex mutex;
constinit UserCount* firstCount = nullptr;
constinit std::size_t perUser = limits::ipcConnectionsPerUser;
constinit std::size_t total = 0;

UserCount& countOf(uid_t user) noexcept {
  for (UserCount* it = firstCount; it != nullptr; it = it->next) {
    if (it->user == user) return *it;
  }
  firstCount = new (Memory::allocate(sizeof(UserCount))) UserCount{user, 0, 0, firstCount};
  return *firstCount;
}

/// A process that listens has more descriptors of its own than this leaves to a limit that would allow fewer.
constexpr std::size_t alwaysAllowed = 8;

/// How many connections there may be when there are `count` already.
std::size_t largestTotal(std::size_t count) noexcept {
  if (count < alwaysAllowed) return alwaysAllowed;
  rlimit descriptors;
  if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return limits::ipcConnectionsPerUser;
  return descriptors.rlim_cur / 4 * 3;
}

}  // namespace

bool UserLimit::takeConnection(uid_t user) noexcept {
  const std::lock_guard lock(mutex);
  UserCount& count = countOf(user);
  if (count.connections >= perUser || total >= largestTotal(total)) return false;
  count.connections++;
  total++;
  Activity::connectionOpened();
  return true;
}

void UserLimit::giveConnectionBack(uid_t user) noexcept {
  const std::lock_guard lock(mutex);
  countOf(user).connections--;
  total--;
  Activity::connectionClosed();
}

bool UserLimit::takeBytes(uid_t user, std::size_t bytes) noexcept {
  const std::lock_guard lock(mutex);
  UserCount& count = countOf(user);
  if (bytes > limits::ipcChunkedBytesPerUser - count.bytes) return false;
  count.bytes += bytes;
  return true;
}

void UserLimit::giveBytesBack(uid_t user, std::size_t bytes) noexcept {
  const std::lock_guard lock(mutex);
  countOf(user).bytes -= bytes;
}

void UserLimit::setConnections(std::size_t count) noexcept {
  const std::lock_guard lock(mutex);
  perUser = count;
}

}  // namespace vanto
