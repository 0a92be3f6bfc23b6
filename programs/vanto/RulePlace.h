// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sandbox/Right.h"

namespace vanto::tool {

/// What a rule of a profile finds at its path, as far as this machine tells.
enum class RulePlace : unsigned char {
  Directory,  ///< or something that this user cannot find out about
  File,       ///< anything else that is there
  Absent
};

/// Follows symbolic links, as the kernel does for a rule.
[[nodiscard]] RulePlace rulePlaceOf(const std::string& path);

/// "pipe:[5]" and the like, where `path` leads to what has no place among the files and is there only as long as some
/// process has it open, or is in it: the kernel takes no rule for that, and denies nothing of it. Otherwise empty.
[[nodiscard]] std::string placelessEndOf(const std::string& path);

/// Those of `rights` that do nothing there.
[[nodiscard]] RightSet idleRightsAt(RulePlace place, RightSet rights) noexcept;

}  // namespace vanto::tool
