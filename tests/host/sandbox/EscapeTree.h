// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/sandbox/EscapeScene.h"
#include "host/sandbox/GeneratedProfile.h"

namespace vanto::testing {

/// One thing that a confined process tries, and whether it has to fail.
struct EscapeAttempt {
  std::string name;
  std::function<int()> attempt;
  bool isClosed = false;
};

/// Directories within each other and beside each other, each with the same things in it, for profiles that chance has
/// made.
class EscapeTree {
 public:
  explicit EscapeTree(std::string root) : root_(std::move(root)) {}

  /// Makes all anew.
  void prepare() const;
  /// What profiles can name.
  [[nodiscard]] std::vector<std::string> paths() const;
  /// Every way into it under `profile` on a kernel with `generation` of Landlock.
  [[nodiscard]] std::vector<EscapeAttempt> attempts(const GeneratedProfile& profile, int generation) const;

 private:
  [[nodiscard]] std::vector<std::string> directories() const;

  std::string root_;
};

}  // namespace vanto::testing
