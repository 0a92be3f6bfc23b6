// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::test {

/// Gives this process a root directory of its own that shows all of the machine's, and in which directories can be made
/// that the machine has not: in a mount namespace, on the empty directory `path`. For root only, in a process that
/// executes a program or ends afterwards. False with errno set.
[[nodiscard]] bool enterOwnRoot(const std::string& path);

}  // namespace vanto::test
