// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "tolvend/Alarms.h"
#include "tolvend/Watch.h"
#include "value/Fd.h"

namespace vanto::manager {

/// Tells of names in a directory that were removed, or given to something else, by whomever. It costs one descriptor,
/// and nothing while nothing of that happens. Main thread only.
class DirectoryGuard {
 public:
  /// Called with each name that was touched; with an empty one when there were too many to be told of.
  using Touched = std::function<void(const std::string& name)>;

  /// `rested` is called a moment after anything of that, and after the directory itself was moved.
  DirectoryGuard(
      Alarms& alarms, Touched touched, std::function<void()> rested = [] {});

  /// Begins, for a directory that is borrowed for this call. 0, or an errno value.
  [[nodiscard]] int start(int directory);

 private:
  [[nodiscard]] int resume();
  void read();

  const Touched touched_;
  const std::function<void()> rested_;
  Fd events_;
  Watch watch_;
  /// Set while nothing is read: two who take a name from each other shall not keep the manager busy.
  Alarm resting_;
};

}  // namespace vanto::manager
