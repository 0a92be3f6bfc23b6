// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vantoproxy/Failure.h"

namespace vanto {

/// Whether the program was called with exactly one absolute path.
[[nodiscard]] Failure checkCall(int count, char* const* arguments) noexcept;

/// Looks for what is known to be wrong before it is tried: no file, no program, a script, whose code would not be the
/// service's own but an interpreter's.
[[nodiscard]] Failure checkExecutable(const char* path) noexcept;

/// Executes the file in place of this program, with its path as the one argument. Comes back only with a failure.
[[nodiscard]] Failure execute(const char* path, const char* const* environment) noexcept;

}  // namespace vanto
