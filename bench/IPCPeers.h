// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BarePackets.h"

/// The peers that the IPC benchmark compares: each has a server, which runs in a child process, and a client, which
/// makes round trips and gives how many nanoseconds one took.
namespace vanto::bench {

/// Serves until the other end is closed.
[[noreturn]] void serveBare(int socket);
[[nodiscard]] double timeBare(int socket, int count, int inFlight);

[[noreturn]] void serveBus(int socket);
/// The client's side of the message bus, over one socket.
class BusClient {
 public:
  explicit BusClient(int socket);
  ~BusClient();
  BusClient(const BusClient&) = delete;
  BusClient& operator=(const BusClient&) = delete;
  [[nodiscard]] double time(int count);

 private:
  void* bus_;
};

}  // namespace vanto::bench
