// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <sys/types.h>

namespace vanto::bench {

/// How many system calls the threads of `process`, a child of this one, begin while a further child does `work`. This
/// process must have one thread only.
[[nodiscard]] long countSystemCalls(pid_t process, const std::function<void()>& work);

}  // namespace vanto::bench
