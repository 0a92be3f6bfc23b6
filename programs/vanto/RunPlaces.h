// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <set>
#include <string>

#include <time.h>

#include "learning/RunFacts.h"

namespace vanto::tool {

/// Where rules have to be for what a run did. What the run made is not there when a profile is entered, so its rules
/// are at the directory that was there before.
class RunPlaces {
 public:
  /// `began` is when the run began, by the clock of files. Looks at files as they are after the run.
  RunPlaces(const learning::RunFacts& facts, const timespec& began);

  /// For what is at `path`, at the end of all links.
  [[nodiscard]] std::string ofFile(const std::string& path) const;
  /// For putting a name into its directory, or taking it away.
  [[nodiscard]] std::string ofDirectoryOf(const std::string& path) const;

  /// The real directories of all names that the run made, as ofDirectoryOf() gives them.
  [[nodiscard]] std::set<std::string> directoriesOfMade() const;

 private:
  [[nodiscard]] std::string before(const std::string& real) const;

  /// Real paths that the run made.
  std::set<std::string, std::less<>> made_;
  /// Of files that have no name.
  std::set<std::string, std::less<>> nameless_;
};

/// `path` with all links resolved but the last component.
[[nodiscard]] std::string realName(const std::string& path);

}  // namespace vanto::tool
