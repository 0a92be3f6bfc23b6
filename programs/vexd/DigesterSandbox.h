// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sandbox/KernelRights.h"

namespace vanto::vexd {

/// Takes everything from this process, which has one thread, but the descriptors that it has and gets, memory, and the
/// end: no file, no socket and no other process can be reached any more, and no program executed. Empty, or what could
/// not be taken, after which the process must not go on. Uses no more than `usable` of the kernel's Landlock.
[[nodiscard]] std::string enterDigesterSandbox(const KernelRights& usable = kernelRightsOf(landlockGenerations));

}  // namespace vanto::vexd
