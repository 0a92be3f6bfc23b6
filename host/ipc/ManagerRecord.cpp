// SPDX-License-Identifier: Apache-2.0
#include "ipc/ManagerRecord.h"

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace vanto {

namespace {

/// An empty packet looks like the end.
bool hasEnded(int link) noexcept {
  pollfd set{link, POLLRDHUP, 0};
  return poll(&set, 1, 0) == 1;
}

}  // namespace

bool sendManagerRecord(int link, ManagerRecordKind kind, std::uint64_t value) noexcept {
  const ManagerRecord record{kind, 0, value};
  ssize_t size;
  do size = send(link, &record, sizeof record, MSG_DONTWAIT | MSG_NOSIGNAL);
  while (size < 0 && errno == EINTR);
  return size == sizeof record;
}

ManagerRecordResult receiveManagerRecord(int link, ManagerRecord& record) noexcept {
  ssize_t size;
  // The size of the whole packet, however much of it there is room for.
  do size = recv(link, &record, sizeof record, MSG_DONTWAIT | MSG_TRUNC);
  while (size < 0 && errno == EINTR);
  if (size == sizeof record) return record.reserved == 0 ? ManagerRecordResult::Record : ManagerRecordResult::Ignored;
  if (size > 0) return ManagerRecordResult::Ignored;
  if (size < 0) return errno == EAGAIN ? ManagerRecordResult::Nothing : ManagerRecordResult::Ended;
  return hasEnded(link) ? ManagerRecordResult::Ended : ManagerRecordResult::Ignored;
}

}  // namespace vanto
