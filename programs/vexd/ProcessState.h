// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

/// What the kernel tells of a process by its id. An id can be given to another process; but whoever has not ended has
/// had its id all the time. So what was looked up by the id counts once it is seen after it that the process has not.
namespace vanto::vexd {

enum class Tracing : std::uint8_t { No, Yes, Unknown };

struct ProcessState {
  /// The real user.
  uid_t user = 0;
  /// Whether somebody traces any thread of the process, which is as good as the process.
  Tracing tracing = Tracing::Unknown;
  /// Whether it is in the pid namespace of this process. Whoever is root in one below can name each process there as
  /// the sender of a message, so a process in one may not be the one that speaks for it. Where /proc is that of
  /// another namespace than this process's, nobody is.
  bool isInOwnNamespace = false;

  /// None when it cannot be looked at.
  [[nodiscard]] static std::optional<ProcessState> read(pid_t pid);
};

/// The same from the text of the kernel, but for threads: whoever has more than one is said to be of Tracing::Unknown
/// unless it is known to be traced.
[[nodiscard]] std::optional<ProcessState> stateIn(std::string_view text) noexcept;

/// The whole of a file of /proc; empty when it could not be read, or has more than limits::processFileBytes.
[[nodiscard]] std::string contentsOf(const std::string& path);

/// Its directory in /proc, without a slash at the end.
[[nodiscard]] std::string directoryOf(pid_t pid);

/// The process id of a descriptor of a process: -1 for one that has ended, 0 for one of a foreign namespace. None when
/// the descriptor is of something else.
[[nodiscard]] std::optional<pid_t> processOf(int process);

/// The same from the text of the kernel about the descriptor.
[[nodiscard]] std::optional<pid_t> processIn(std::string_view text) noexcept;

/// Whether the process of a descriptor has ended.
[[nodiscard]] bool hasEnded(int process) noexcept;

}  // namespace vanto::vexd
