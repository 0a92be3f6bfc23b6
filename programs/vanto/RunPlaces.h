// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

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

  /// The real directories of all names that the run made, as ofDirectoryOf() gives them: of Unix sockets, and of
  /// all else.
  [[nodiscard]] std::set<std::string> directoriesOfSockets() const { return directoriesOf(sockets_); }
  [[nodiscard]] std::set<std::string> directoriesOfOthers() const { return directoriesOf(others_); }

 private:
  using Names = std::set<std::string, std::less<>>;

  [[nodiscard]] bool isMade(std::string_view real) const;
  [[nodiscard]] std::string before(const std::string& real) const;
  [[nodiscard]] std::set<std::string> directoriesOf(const Names& names) const;

  /// Real paths that the run made.
  Names sockets_;
  Names others_;
  /// Of files that have no name.
  Names nameless_;
};

/// `path` with all links resolved but the last component.
[[nodiscard]] std::string realName(const std::string& path);

}  // namespace vanto::tool
