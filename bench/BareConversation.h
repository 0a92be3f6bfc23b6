// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "value/Fd.h"

/// The least that a client and a service must do to exchange one message and its reply over a connection of their own,
/// on SEQPACKET sockets. Both ends get the kernel's word on who sent each packet (SO_PASSCRED), and the service looks
/// up who connected (SO_PEERCRED). There is no greeting: the client sends at once.
namespace vanto::bench {

/// A listening socket at `path`.
[[nodiscard]] Fd listenAt(const std::string& path);

/// Serves on one thread: waits in epoll for clients and for their packets, sends each packet back, and closes a
/// connection when its client has. Serves until the process is killed.
[[noreturn]] void serveConversations(int listener);

/// Connects, sends, waits for the reply, in the calling thread, and closes.
void converse(const std::string& path);

}  // namespace vanto::bench
