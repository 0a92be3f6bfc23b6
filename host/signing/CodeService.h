// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "process/ExecutableFile.h"
#include "signing/CodeReply.h"
#include "value/Fd.h"
#include "value/limits.h"

/// The code-signing service, over one connection that this process keeps as long as it holds. Any thread; the calling
/// one waits, and no other is made.
namespace vanto {

inline constexpr const char* codeServiceName = "org.vanto.vexd";

/// What the service says of the process of a descriptor, within `nanoseconds`, connecting included.
[[nodiscard]] CodeReply askCodeService(const Fd& process, std::uint64_t nanoseconds = limits::codeNanoseconds) noexcept;

/// The file that the process executes, as the service sees it; none when it cannot tell.
[[nodiscard]] std::optional<ExecutableFile> lookUpExecutable(const Fd& process) noexcept;

/// The file that facts are about.
[[nodiscard]] ExecutableFile executableOf(const CodeFacts& facts) noexcept;

}  // namespace vanto
