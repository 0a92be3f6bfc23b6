// SPDX-License-Identifier: Apache-2.0

// What a peer may send. The input is a row of packets, each with its size in two bytes before it. Each is read as a
// header, and as a refusal if it is one; and all of them are read by a connection on which a call waits, and by one
// that has asked early; they end it, or the end of the input does. Everything runs on one thread.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include <sys/socket.h>
#include <unistd.h>

#include "ipc/Connection.h"
#include "ipc/PeerCredentials.h"
#include "ipc/Refusal.h"
#include "value/limits.h"

namespace {

using vanto::Fd;

/// A refusal that is taken must be sent again as it was.
void readRefusal(std::span<const std::uint8_t> payload) {
  vanto::Refusal refusal;
  if (!vanto::decodeRefusal(payload, refusal)) return;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  const Fd ours(ends[0]);
  const Fd theirs(ends[1]);
  vanto::sendRefusal(ours.get(), refusal.code, refusal.text);
  std::uint8_t again[2 * vanto::limits::ipcRefusalTextBytes];
  const ssize_t size = recv(theirs.get(), again, sizeof again, MSG_DONTWAIT);
  if (size != static_cast<ssize_t>(vanto::frameHeaderBytes + payload.size()) ||
      std::memcmp(again + vanto::frameHeaderBytes, payload.data(), payload.size()) != 0) {
    std::abort();
  }
}

/// A header that is taken must be written again as it was.
void readHeader(const std::uint8_t* packet, std::size_t size) {
  vanto::FrameHeader header;
  const std::size_t descriptors = size >= 8 ? static_cast<std::size_t>(packet[6] | packet[7] << 8) : 0;
  if (!vanto::decodeHeader(packet, size, descriptors, header)) return;
  std::uint8_t again[vanto::frameHeaderBytes];
  encodeHeader(header, again);
  if (std::memcmp(packet, again, sizeof again) != 0) std::abort();
  if (header.kind == vanto::FrameKind::Refusal) {
    readRefusal({packet + vanto::frameHeaderBytes, size - vanto::frameHeaderBytes});
  }
}

/// A connection to a service that has sent the input, and ended there.
vanto::Ref<vanto::Connection> connectToInput(const std::uint8_t* data, std::size_t size) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  Fd ours(ends[0]);
  const Fd theirs(ends[1]);
  if (!vanto::enableSenderCredentials(ours.get())) std::abort();
  while (size >= 2) {
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(data[0] | data[1] << 8), size - 2);
    if (send(theirs.get(), data + 2, length, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) break;
    data += 2 + length;
    size -= 2 + length;
  }
  const vanto::ProcessFacts peer{getpid(), geteuid(), getegid(), getuid(), getgid(), 1};
  const vanto::Greeting greeting{.windowMessages = 4, .windowBytes = 1000};
  return vanto::Connection::createForClient(std::move(ours), peer, greeting, 0, nullptr);
}

void readHeaders(const std::uint8_t* data, std::size_t size) {
  while (size >= 2) {
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(data[0] | data[1] << 8), size - 2);
    readHeader(data + 2, length);
    data += 2 + length;
    size -= 2 + length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  readHeaders(data, size);
  const auto connection = connectToInput(data, size);
  vanto_object_t question = vanto_int64_create(1);
  if (!connection->call(question, VANTO_WAIT_FOREVER)) std::abort();
  vanto_release(question);
  connection->closeConnection();
  const auto early = connectToInput(data, size);
  const vanto::FrameHeader request{.kind = vanto::FrameKind::EarlyRequest, .id = 1, .length = 8};
  if (!early->awaitEarlyReply(request, nullptr, VANTO_WAIT_FOREVER)) std::abort();
  early->closeConnection();
  return 0;
}
