// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include <sys/types.h>

namespace vanto::manager {

/// The process id that a service was executed with, from the environment of a process: its own, or that of the service
/// that has forked it off. 0 where there is none, or it cannot be read: a program that such a process executes has it
/// only if the service did not take it away.
[[nodiscard]] pid_t readServiceMark(pid_t pid);

/// The same from the text of the process's "environ" file.
[[nodiscard]] pid_t parseServiceMark(std::string_view environment) noexcept;

}  // namespace vanto::manager
