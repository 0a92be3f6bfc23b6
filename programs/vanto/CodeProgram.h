// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "vanto/Console.h"

namespace vanto::tool {

/// True for a command about code, keys or trust. These have a program of their own, since the cryptographic library
/// would double what the start of all other commands costs.
[[nodiscard]] bool isCodeCommand(std::string_view command) noexcept;

/// Executes that program, which lies at `path` relative to the directory of the running one, with the arguments.
/// Returns only when it cannot, with a complaint.
void executeCodeProgram(std::string_view path, char* const* argv, Console& console);

}  // namespace vanto::tool
