// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vanto::tool {

/// Puts `bytes` in place of the file at `path`, or makes it. At every moment, also after a crash of the machine, the
/// file is the old one or the new one, whole; after a failure it is the old one, and nothing else is left in its
/// directory. A symbolic link stays one, and the file that it leads to is replaced; the permissions of a file stay.
/// What is no regular file is not replaced.
///
/// Empty when done, else a visible text that names the file and says what went wrong.
[[nodiscard]] std::string replaceFile(const std::string& path, std::string_view bytes);

}  // namespace vanto::tool
