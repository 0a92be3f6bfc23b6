// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "process/AuditToken.h"
#include "value/Fd.h"

/// Who is at the other end of a socket, and whether a process is still the one that it was.
namespace vanto {

/// Has the kernel say with each packet who sent it. False with errno.
[[nodiscard]] bool enableSenderCredentials(int socket) noexcept;

/// Fills in process id and effective user and group of who connected, or, on the client's side, who listened; the real
/// ones are taken to be the same and the start time to be unknown, 0. A process that cannot be named here, since it is
/// in a foreign namespace, has id 0. False with errno.
[[nodiscard]] bool readPeerCredentials(int socket, ProcessFacts& facts) noexcept;

/// A descriptor of the peer's process; none with errno where the kernel gives none.
[[nodiscard]] Fd openPeerProcess(int socket) noexcept;

/// Whether the process of a descriptor still runs.
[[nodiscard]] bool isRunning(const Fd& process) noexcept;

/// When the process `pid` started, in clock ticks since boot; 0 when that cannot be told.
[[nodiscard]] std::uint64_t readStartTime(pid_t pid) noexcept;

/// Reads real user and group and the start time of the process `facts.pid`. False when it is gone.
[[nodiscard]] bool readProcessFacts(ProcessFacts& facts) noexcept;

}  // namespace vanto
