// SPDX-License-Identifier: Apache-2.0

// What a peer may send. The input is a row of packets, each with its size in two bytes before it. Each is read as a
// header, and all of them by a connection on which a call waits; they end it, or the end of the input does. Everything
// runs on one thread.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

#include "ipc/Connection.h"
#include "ipc/PeerCredentials.h"

namespace {

using vanto::Fd;

/// A header that is taken must be written again as it was.
void readHeader(const std::uint8_t* packet, std::size_t size) {
  vanto::FrameHeader header;
  const std::size_t descriptors = size >= 8 ? static_cast<std::size_t>(packet[6] | packet[7] << 8) : 0;
  if (!vanto::decodeHeader(packet, size, descriptors, header)) return;
  std::uint8_t again[vanto::frameHeaderBytes];
  encodeHeader(header, again);
  if (std::memcmp(packet, again, sizeof again) != 0) std::abort();
}

void sendPackets(int socket, const std::uint8_t* data, std::size_t size) {
  while (size >= 2) {
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(data[0] | data[1] << 8), size - 2);
    readHeader(data + 2, length);
    if (send(socket, data + 2, length, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) return;
    data += 2 + length;
    size -= 2 + length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  Fd ours(ends[0]);
  Fd theirs(ends[1]);
  if (!vanto::enableSenderCredentials(ours.get())) std::abort();
  const vanto::ProcessFacts peer{getpid(), geteuid(), getegid(), getuid(), getgid(), 1};
  const vanto::Greeting greeting{.windowMessages = 4, .windowBytes = 1000};
  auto connection = vanto::Connection::createForClient(std::move(ours), peer, greeting, nullptr);
  sendPackets(theirs.get(), data, size);
  theirs.reset();
  vanto_object_t question = vanto_int64_create(1);
  const auto reply = connection->call(question, VANTO_WAIT_FOREVER);
  if (!reply) std::abort();
  vanto_release(question);
  connection->closeConnection();
  return 0;
}
