// SPDX-License-Identifier: Apache-2.0
#include "ipc/ConnectionLimit.h"

#include <mutex>
#include <new>

#include <sys/resource.h>

#include "ipc/Activity.h"
#include "value/Memory.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// The connections of one user. Kept for the life of the process: there are no more of them than users.
struct UserCount {
  uid_t user;
  std::size_t count;
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
  firstCount = new (Memory::allocate(sizeof(UserCount))) UserCount{user, 0, firstCount};
  return *firstCount;
}

std::size_t largestTotal() noexcept {
  rlimit descriptors;
  if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return limits::ipcConnectionsPerUser;
  return descriptors.rlim_cur / 4 * 3;
}

}  // namespace

bool ConnectionLimit::take(uid_t user) noexcept {
  const std::size_t largest = largestTotal();
  const std::lock_guard lock(mutex);
  UserCount& count = countOf(user);
  if (count.count >= perUser || total >= largest) return false;
  count.count++;
  total++;
  Activity::connectionOpened();
  return true;
}

void ConnectionLimit::giveBack(uid_t user) noexcept {
  const std::lock_guard lock(mutex);
  countOf(user).count--;
  total--;
  Activity::connectionClosed();
}

void ConnectionLimit::setPerUser(std::size_t count) noexcept {
  const std::lock_guard lock(mutex);
  perUser = count;
}

}  // namespace vanto
