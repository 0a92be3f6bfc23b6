// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// Does what the arguments ask for, as runCommandLine() does it, where that is a command about code, keys or trust.
[[nodiscard]] ExitStatus runCodeCommandLine(int argc, const char* const* argv, Console& console);

}  // namespace vanto::tool
