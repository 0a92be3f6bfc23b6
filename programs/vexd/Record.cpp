// SPDX-License-Identifier: Apache-2.0
#include "vexd/Record.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>

#include "vexd/MonotonicTime.h"

namespace vanto::vexd {
namespace {

/// As long as the deadline is away, in the milliseconds of poll(); -1 for ever.
int millisecondsUntil(std::uint64_t deadline) noexcept {
  if (deadline == UINT64_MAX) return -1;
  const std::uint64_t time = monotonicNow();
  if (time >= deadline) return 0;
  return static_cast<int>(std::min<std::uint64_t>((deadline - time) / 1'000'000 + 1, INT_MAX));
}

bool isWorthWaiting() noexcept {
  return errno == EAGAIN || errno == EINTR;
}

alignas(cmsghdr) thread_local char control[CMSG_SPACE(recordDescriptors * sizeof(int))];

/// Sends a part, and the descriptors with its first byte. The number of bytes that were taken, 0 for none now, or -1.
ssize_t sendPart(int socket, std::string_view part, const std::vector<int>& descriptors) noexcept {
  iovec vector{const_cast<char*>(part.data()), part.size()};
  msghdr message{};
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  if (!descriptors.empty()) {
    message.msg_control = control;
    message.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
    std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size() * sizeof(int));
  }
  const ssize_t sent = sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
  return sent < 0 && isWorthWaiting() ? 0 : sent;
}

void takeDescriptors(msghdr& message, std::vector<Fd>& descriptors) {
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int descriptor = -1;
      std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof(int), sizeof descriptor);
      descriptors.emplace_back(descriptor);
    }
  }
}

/// The number of bytes that came, 0 for none now, or -1 at the end or with a failure.
ssize_t receivePart(int socket, char* bytes, std::size_t size, std::vector<Fd>& descriptors) {
  iovec vector{bytes, size};
  msghdr message{};
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t received = recvmsg(socket, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
  if (received < 0) return isWorthWaiting() ? 0 : -1;
  takeDescriptors(message, descriptors);
  const bool isCut = (message.msg_flags & MSG_CTRUNC) != 0 || descriptors.size() > recordDescriptors;
  return received == 0 || isCut ? -1 : received;
}

bool receiveBytes(int socket, char* bytes, std::size_t size, std::uint64_t deadline, std::vector<Fd>& descriptors) {
  std::size_t at = 0;
  while (at != size) {
    const ssize_t received = receivePart(socket, bytes + at, size - at, descriptors);
    if (received < 0) return false;
    at += static_cast<std::size_t>(received);
    if (received == 0 && !awaitSocket(socket, POLLIN, deadline)) return false;
  }
  return true;
}

}  // namespace

bool awaitSocket(int socket, short events, std::uint64_t deadline) noexcept {
  for (;;) {
    pollfd set{socket, events, 0};
    const int milliseconds = millisecondsUntil(deadline);
    const int count = poll(&set, 1, milliseconds);
    if (count > 0) return true;
    if (count == 0 && milliseconds >= 0) return false;
    if (count < 0 && errno != EINTR) return false;
  }
}

void RecordWriter::number(std::uint64_t value) {
  bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void RecordWriter::text(std::string_view value) {
  number(value.size());
  bytes_.append(value);
}

std::uint64_t RecordReader::number() noexcept {
  const std::string_view bytes = take(sizeof(std::uint64_t));
  std::uint64_t value = 0;
  if (!bytes.empty()) std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

std::string_view RecordReader::text(std::size_t limit) noexcept {
  const std::uint64_t length = number();
  if (length > limit) isFine_ = false;
  return take(isFine_ ? static_cast<std::size_t>(length) : 0);
}

std::string_view RecordReader::take(std::size_t length) noexcept {
  if (length > rest_.size()) isFine_ = false;
  if (!isFine_) return {};
  const std::string_view taken = rest_.substr(0, length);
  rest_.remove_prefix(length);
  return taken;
}

bool sendRecord(int socket, std::string_view bytes, const std::vector<int>& descriptors,
                std::uint64_t deadline) noexcept {
  if (descriptors.size() > recordDescriptors) return false;
  const std::uint64_t length = bytes.size();
  const std::string whole = std::string(reinterpret_cast<const char*>(&length), sizeof length) + std::string(bytes);
  std::string_view rest = whole;
  while (!rest.empty()) {
    const bool isFirst = rest.size() == whole.size();
    const ssize_t sent = sendPart(socket, rest, isFirst ? descriptors : std::vector<int>());
    if (sent < 0) return false;
    rest.remove_prefix(static_cast<std::size_t>(sent));
    if (sent == 0 && !awaitSocket(socket, POLLOUT, deadline)) return false;
  }
  return true;
}

bool receiveRecord(int socket, std::size_t limit, std::uint64_t deadline, Record& record) {
  std::uint64_t length = 0;
  record = {};
  if (!receiveBytes(socket, reinterpret_cast<char*>(&length), sizeof length, deadline, record.descriptors))
    return false;
  if (length > limit) return false;
  record.bytes.resize(static_cast<std::size_t>(length));
  return receiveBytes(socket, record.bytes.data(), record.bytes.size(), deadline, record.descriptors);
}

}  // namespace vanto::vexd
