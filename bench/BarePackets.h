// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <sys/types.h>

/// What bare peers over SEQPACKET sockets are made of, and the clock by which they are timed.
namespace vanto::bench {

/// Bytes of the body that bare peers move each way: those of the encoding of a dictionary of five and its header.
inline constexpr std::size_t bareBytes = 224;

/// Ends the program when `result` tells of a failure.
void check(int result, const char* what);

/// The processor on which everything runs.
void pinToOneCore();

[[nodiscard]] double nanosecondsNow();

/// Has the kernel say with each packet who sent it.
void passCredentials(int socket);

/// Reads one packet of at most bareBytes, with the kernel's word on who sent it. What recvmsg() gives.
[[nodiscard]] ssize_t receivePacket(int socket, char* bytes, int flags);

}  // namespace vanto::bench
