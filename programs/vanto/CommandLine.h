// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// Does what the arguments ask for: carries out one command, prints help, or complains of the usage.
[[nodiscard]] ExitStatus runCommandLine(int argc, const char* const* argv, Console& console);

}  // namespace vanto::tool
