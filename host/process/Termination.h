// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto {

/// Has `function(context)` called once, on a worker, when the process gets SIGTERM; at once on the calling thread when
/// it has got it already. The first call takes SIGTERM over where its default action stands, and needs a worker; where
/// the program has an action of its own, or ignores the signal, nothing is changed and nothing ever called. No signal
/// is blocked. `context` must live as long as the process. False, with nothing changed, when the system has no
/// descriptor or thread for it; it may be tried again.
[[nodiscard]] bool onTermination(void (*function)(void* context), void* context) noexcept;

}  // namespace vanto
