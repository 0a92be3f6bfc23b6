// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace vanto::tool {

/// The contents of the file at `path`, or of standard input for "-"; any kind of file that can be read to its end, of
/// at most 64 MiB. None with a visible text in `problem` that names the file.
[[nodiscard]] std::optional<std::string> readInput(const std::string& path, std::string& problem);

/// How messages call the file at `path`.
[[nodiscard]] std::string nameOfInput(const std::string& path);

}  // namespace vanto::tool
