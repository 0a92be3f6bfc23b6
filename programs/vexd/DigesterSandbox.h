// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::vexd {

/// Takes everything from this process, which has one thread, but the descriptors that it has and gets, memory, and the
/// end: no file, no socket and no other process can be reached any more, and no program executed. Empty, or what could
/// not be taken, after which the process must not go on.
[[nodiscard]] std::string enterDigesterSandbox();

/// The same as if the kernel's Landlock were of that generation; 0 is none.
[[nodiscard]] std::string enterDigesterSandbox(int landlockGeneration);

}  // namespace vanto::vexd
