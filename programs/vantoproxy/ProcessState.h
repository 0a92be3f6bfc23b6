// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vantoproxy/Failure.h"

namespace vanto {

/// Gives the process what a service begins with: a session and process group of its own, no signal blocked or ignored,
/// the file mode mask 077, the root as working directory, and no core file unless the service asks for one.
[[nodiscard]] Failure setProcessState() noexcept;

}  // namespace vanto
