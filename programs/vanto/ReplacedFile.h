// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace vanto::tool {

/// Puts `bytes` in place of the file at `path`, or makes it. At every moment, also after a crash of the machine, the
/// file is the old one or the new one, whole; after a failure it is the old one, and nothing else is left in its
/// directory. A symbolic link stays one, and the file that it leads to is replaced; the permissions of a file stay.
/// What is no regular file is not replaced.
///
/// Empty when done, else a visible text that names the file and says what went wrong.
[[nodiscard]] std::string replaceFile(const std::string& path, std::string_view bytes);

/// The same for the file `name` in an open directory, whoever else can change that directory and what lies above: no
/// file elsewhere is replaced. A link is no regular file. `path` is what people are told.
[[nodiscard]] std::string replaceFileIn(int directory, const std::string& name, std::string_view bytes,
                                        const std::string& path);

enum class Existing : std::uint8_t { Replaced, Kept };

/// The same for a file at `path` that is to have the permissions `mode`, whatever it had, and is not behind a link.
/// Where an existing one, of any kind, is kept, that is a failure.
[[nodiscard]] std::string writeFile(const std::string& path, std::string_view bytes, mode_t mode, Existing existing);

}  // namespace vanto::tool
