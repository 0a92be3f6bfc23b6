// SPDX-License-Identifier: Apache-2.0
#include "ipc/FrameSocket.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "ipc/WireBytes.h"

namespace vanto {

namespace {

constexpr std::size_t descriptorsSpace = CMSG_SPACE(limits::ipcDescriptors * sizeof(int));
// Were there padding behind the last descriptor, the kernel would fill it with one more.
static_assert(limits::ipcDescriptors * sizeof(int) % sizeof(std::size_t) == 0);

void attachDescriptors(msghdr& message, std::span<const int> descriptors, std::uint8_t* control) noexcept {
  message.msg_control = control;
  message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(descriptors.size_bytes());
  std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size_bytes());
}

SendResult resultOfError(int error) noexcept {
  switch (error) {
    case EAGAIN:
      return SendResult::Full;
    case ENOBUFS:
    case ENOMEM:
    case ETOOMANYREFS:
      return SendResult::Later;
    default:
      return SendResult::Gone;
  }
}

void takeDescriptors(cmsghdr& header, std::vector<Fd>& descriptors) noexcept {
  const std::size_t count = (header.cmsg_len - CMSG_LEN(0)) / sizeof(int);
  descriptors.reserve(descriptors.size() + count);
  for (std::size_t i = 0; i < count; i++) {
    int descriptor;
    std::memcpy(&descriptor, CMSG_DATA(&header) + i * sizeof(int), sizeof(int));
    descriptors.emplace_back(descriptor);
  }
}

void takeSender(cmsghdr& header, FrameSender& sender) noexcept {
  ucred credentials;
  std::memcpy(&credentials, CMSG_DATA(&header), sizeof credentials);
  sender = {credentials.pid, credentials.uid, credentials.gid};
}

void takeControl(msghdr& message, ReceivedFrame& frame) noexcept {
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level != SOL_SOCKET) continue;
    if (header->cmsg_type == SCM_CREDENTIALS) takeSender(*header, frame.sender);
    if (header->cmsg_type == SCM_RIGHTS) takeDescriptors(*header, frame.descriptors);
  }
}

ssize_t receivePacket(int socket, msghdr& message, Waiting waiting, bool& wasLeftUnread) noexcept {
  const int flags = MSG_CMSG_CLOEXEC | (waiting == Waiting::Never ? MSG_DONTWAIT : 0);
  ssize_t size;
  bool again;
  do {
    size = recvmsg(socket, &message, flags);
    // A peer that closed without having read everything is reported once, before the last packets that it sent.
    const bool isReset = size < 0 && errno == ECONNRESET && !std::exchange(wasLeftUnread, true);
    again = isReset || (size < 0 && errno == EINTR && waiting == Waiting::Never);
  } while (again);
  return size;
}

ReceiveResult resultOfSize(ssize_t size) noexcept {
  if (size == 0 || errno == ECONNRESET) return ReceiveResult::Ended;
  return errno == EAGAIN || errno == EINTR ? ReceiveResult::Nothing : ReceiveResult::Failed;
}

}  // namespace

SendResult sendFrame(int socket, const FrameHeader& header, std::span<const std::uint8_t> payload,
                     std::span<const int> descriptors) noexcept {
  std::uint8_t bytes[frameHeaderBytes];
  encodeHeader(header, bytes);
  iovec parts[2] = {{bytes, sizeof bytes}, {const_cast<std::uint8_t*>(payload.data()), payload.size()}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = payload.empty() ? 1 : 2;
  alignas(cmsghdr) std::uint8_t control[descriptorsSpace];
  if (!descriptors.empty()) attachDescriptors(message, descriptors, control);
  while (sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    if (errno != EINTR) return resultOfError(errno);
  }
  return SendResult::Sent;
}

SendResult sendFrameInPlace(int socket, const FrameHeader& header, std::uint8_t* place, std::size_t payload) noexcept {
  encodeHeader(header, place);
  // Cheaper than sendmsg(), by a hundredth of a round trip.
  while (send(socket, place, frameHeaderBytes + payload, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    if (errno != EINTR) return resultOfError(errno);
  }
  return SendResult::Sent;
}

bool isDrained(int socket) noexcept {
  int size = 1;
  return ioctl(socket, FIONREAD, &size) == 0 && size == 0;
}

void sendCode(int socket, FrameKind kind, std::uint32_t code) noexcept {
  std::uint8_t bytes[codeBytes];
  store32(bytes, code);
  const FrameHeader header{.kind = kind};
  static_cast<void>(sendFrame(socket, header, bytes, {}));
}

void setReceiveTimeout(int socket, std::uint64_t nanoseconds) noexcept {
  // Rounded up: zero would mean for ever.
  const std::uint64_t microseconds = nanoseconds / 1000 + (nanoseconds % 1000 != 0 ? 1 : 0);
  const timeval time{static_cast<time_t>(microseconds / 1'000'000), static_cast<suseconds_t>(microseconds % 1'000'000)};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

ReceiveResult receiveFrame(int socket, Waiting waiting, FrameBuffer& buffer, std::uint8_t* target,
                           ReceivedFrame& frame) noexcept {
  iovec parts[2] = {{buffer.bytes, sizeof buffer.bytes}, {target, limits::ipcInlineBytes}};
  if (target != nullptr) parts[0].iov_len = frameHeaderBytes;
  alignas(cmsghdr) std::uint8_t control[CMSG_SPACE(sizeof(ucred)) + descriptorsSpace];
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = target != nullptr ? 2 : 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t size = receivePacket(socket, message, waiting, frame.wasLeftUnread);
  // An empty packet can carry descriptors as well, and they are ours from now on.
  if (size >= 0) takeControl(message, frame);
  if (size <= 0) return resultOfSize(size);
  const auto length = static_cast<std::size_t>(size);
  const bool isCut = (message.msg_flags & MSG_CTRUNC) != 0;
  const std::size_t received = frame.descriptors.size();
  // A frame whose list was cut is looked at as if it were whole: what the sender is judged by is what it sent.
  const std::size_t sent = isCut && length >= frameHeaderBytes ? declaredDescriptors(buffer.bytes) : received;
  if ((message.msg_flags & MSG_TRUNC) != 0 || !decodeHeader(buffer.bytes, length, sent, frame.header)) {
    return ReceiveResult::Malformed;
  }
  // There is room for as many as a frame may declare, so who declared all it sent is not to blame.
  if (isCut) return received < sent ? ReceiveResult::Cut : ReceiveResult::Malformed;
  const std::uint8_t* payload = target != nullptr ? target : buffer.bytes + frameHeaderBytes;
  frame.payload = {payload, length - frameHeaderBytes};
  return ReceiveResult::Frame;
}

}  // namespace vanto
