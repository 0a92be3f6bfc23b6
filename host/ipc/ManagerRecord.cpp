// SPDX-License-Identifier: Apache-2.0
#include "ipc/ManagerRecord.h"

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "value/limits.h"

namespace vanto {

namespace {

/// An empty packet looks like the end.
bool hasEnded(int link) noexcept {
  pollfd set{link, POLLRDHUP, 0};
  return poll(&set, 1, 0) == 1;
}

/// What a packet of `size` bytes, or an error, is when `textSize` bytes of it are to be text.
ManagerRecordResult resultOf(int link, ssize_t size, const ManagerRecord& record, std::size_t textSize) noexcept {
  if (size == static_cast<ssize_t>(sizeof record + textSize)) {
    return record.reserved == 0 ? ManagerRecordResult::Record : ManagerRecordResult::Ignored;
  }
  if (size > 0) return ManagerRecordResult::Ignored;
  if (size < 0) return errno == EAGAIN ? ManagerRecordResult::Nothing : ManagerRecordResult::Ended;
  return hasEnded(link) ? ManagerRecordResult::Ended : ManagerRecordResult::Ignored;
}

/// True when receiving is to be tried again. Who has gone with records unread leaves an error, which is told once and
/// before the records that it sent.
bool wasInterrupted(ssize_t size) noexcept {
  return size < 0 && (errno == EINTR || errno == ECONNRESET);
}

}  // namespace

bool sendManagerRecord(int link, ManagerRecordKind kind, std::uint64_t value) noexcept {
  const ManagerRecord record{kind, 0, value};
  ssize_t size;
  do size = send(link, &record, sizeof record, MSG_DONTWAIT | MSG_NOSIGNAL);
  while (size < 0 && errno == EINTR);
  return size == sizeof record;
}

bool sendManagerReceipt(int link, std::string_view text) noexcept {
  ManagerRecord record{ManagerRecordKind::Receipt, 0, text.size()};
  iovec parts[2] = {{&record, sizeof record}, {const_cast<char*>(text.data()), text.size()}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  ssize_t size;
  do size = sendmsg(link, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  while (size < 0 && errno == EINTR);
  return size == static_cast<ssize_t>(sizeof record + text.size());
}

ManagerRecordResult receiveManagerRecord(int link, ManagerRecord& record) noexcept {
  ssize_t size;
  // The size of the whole packet, however much of it there is room for.
  do size = recv(link, &record, sizeof record, MSG_DONTWAIT | MSG_TRUNC);
  while (wasInterrupted(size));
  return resultOf(link, size, record, 0);
}

ManagerRecordResult receiveManagerRecord(int link, ManagerRecord& record, std::string& text) noexcept {
  text.resize(limits::receiptBytes);
  iovec parts[2] = {{&record, sizeof record}, {text.data(), text.size()}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  ssize_t size;
  do size = recvmsg(link, &message, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
  while (wasInterrupted(size));
  const bool isReceipt = size >= static_cast<ssize_t>(sizeof record) && record.kind == ManagerRecordKind::Receipt &&
                         record.value <= text.size();
  text.resize(isReceipt ? record.value : 0);
  return resultOf(link, size, record, text.size());
}

}  // namespace vanto
