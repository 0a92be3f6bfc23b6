// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include "process/AuditToken.h"
#include "process/ExecutableFile.h"
#include "value/Fd.h"

/// Who is at the other end of a socket, and whether a process is still the one that it was.
namespace vanto {

/// Has the kernel say with each packet who sent it. False with errno.
[[nodiscard]] bool enableSenderCredentials(int socket) noexcept;

/// Whether that was asked for. What a listening socket accepts is as it is itself.
[[nodiscard]] bool passesSenderCredentials(int socket) noexcept;

/// Fills in process id and effective user and group of who connected, or, on the client's side, who listened; the real
/// ones are taken to be the same and the start time to be unknown, 0. A process that cannot be named here, since it is
/// in a foreign namespace, has id 0. False with errno.
[[nodiscard]] bool readPeerCredentials(int socket, ProcessFacts& facts) noexcept;

/// A descriptor of the peer's process, about which `facts` are known; none with errno where the kernel gives none, or
/// the process is gone.
[[nodiscard]] Fd openPeerProcess(int socket, const ProcessFacts& facts) noexcept;

/// A descriptor of the process that `facts` name with its id and start time; none with errno when it is gone.
[[nodiscard]] Fd openProcess(const ProcessFacts& facts) noexcept;

/// A descriptor of the process with the id `pid` that held it already at `time` (CLOCK_BOOTTIME, nanoseconds), as far
/// as the kernel's ticks, of 10 ms as a rule, tell; none with errno when that one is gone, or cannot be looked at.
[[nodiscard]] Fd openProcessOfTime(pid_t pid, std::uint64_t time) noexcept;

/// Whether the process of a descriptor still runs.
[[nodiscard]] bool isRunning(const Fd& process) noexcept;

/// When the process `pid` started, in clock ticks since boot; 0 when that cannot be told.
[[nodiscard]] std::uint64_t readStartTime(pid_t pid) noexcept;

/// Reads real user and group and the start time of the process `facts.pid`. False with errno when it is gone,
/// has no id here, or cannot be looked at (EMFILE and ENFILE for want of a descriptor); the start time is 0 then.
/// With `process`, a descriptor of it, the owner comes from the kernel where it tells it so (Linux 6.13), and then the
/// start time may be unknown, 0, as in a confined process.
[[nodiscard]] bool readProcessFacts(ProcessFacts& facts, const Fd& process = Fd()) noexcept;

/// The file that the process `pid` executes now; none, 0, where that may not be seen, as by a confined process.
[[nodiscard]] ExecutableFile readExecutable(pid_t pid) noexcept;

}  // namespace vanto
