// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

namespace vanto::tool {

/// What the program's exit status says; of the first three the greater is the worse.
enum class ExitStatus {
  Fine = 0,
  /// It did what it was asked to, and found something wrong.
  Found = 1,
  /// It could not do it, or not all of it: bad usage, a file that cannot be read or written.
  Failed = 2,
  /// What was asked has no answer yet: it hangs on files that are not as they would have to be.
  Unsettled = 3
};

[[nodiscard]] inline ExitStatus worse(ExitStatus one, ExitStatus other) noexcept {
  return std::max(one, other);
}

}  // namespace vanto::tool
