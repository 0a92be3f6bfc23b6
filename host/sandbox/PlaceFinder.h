// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/DirectorySet.h"
#include "sandbox/Plan.h"
#include "value/Fd.h"

namespace vanto {

/// What a path leads to, or why it leads nowhere.
struct FoundPlace {
  /// Open for the sake of the place alone, with O_PATH.
  Fd place;
  /// 0, or an errno value.
  int error = 0;
  /// The symbolic link that was not followed, where the error is that; otherwise empty.
  std::string link;

  /// The error for people; empty without one.
  [[nodiscard]] std::string reason() const;
};

/// Finds the places of a plan's paths as the kernel does, but follows no symbolic link that lies where the plan lets
/// links be made: the confined process could have put it there to be given more the next time.
class PlaceFinder {
 public:
  /// Looks for the directories of the plan in which links can be made, as they are now.
  explicit PlaceFinder(const Plan& plan);

  /// `path` is absolute. Only the file systems on the way can make it wait.
  [[nodiscard]] FoundPlace find(const std::string& path);

 private:
  Fd root_;
  DirectorySet linkable_;
};

}  // namespace vanto
