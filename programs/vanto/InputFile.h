// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vanto::tool {

enum class InputKind : unsigned char {
  Any,          ///< a pipe, too, whose writer is waited for
  RegularFile,  ///< nothing is waited for
};

/// How large an input may be.
struct InputLimit {
  std::size_t bytes;
  /// "the 64 MiB that a property list may have"
  const char* name;
};

/// What the library takes as a property list.
inline constexpr InputLimit propertyListLimit{std::size_t{64} << 20, "the 64 MiB that a property list may have"};

/// The contents of the file at `path`, or of standard input for "-"; a file of that kind which can be read to its end,
/// and is no larger than `limit`. None with a visible text in `problem` that names the file.
[[nodiscard]] std::optional<std::string> readInput(const std::string& path, std::string& problem,
                                                   InputKind kind = InputKind::Any,
                                                   const InputLimit& limit = propertyListLimit);

/// How messages call the file at `path`.
[[nodiscard]] std::string nameOfInput(const std::string& path);

}  // namespace vanto::tool
