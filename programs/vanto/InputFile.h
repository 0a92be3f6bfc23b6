// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace vanto::tool {

enum class InputKind : unsigned char {
  Any,          ///< a pipe, too, whose writer is waited for
  RegularFile,  ///< nothing is waited for
};

/// The contents of the file at `path`, or of standard input for "-"; a file of that kind which can be read to its end,
/// of at most 64 MiB. None with a visible text in `problem` that names the file.
[[nodiscard]] std::optional<std::string> readInput(const std::string& path, std::string& problem,
                                                   InputKind kind = InputKind::Any);

/// How messages call the file at `path`.
[[nodiscard]] std::string nameOfInput(const std::string& path);

}  // namespace vanto::tool
