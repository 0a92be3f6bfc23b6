// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <vector>

namespace vanto::tool {

/// Finds the directories that should be service bundles, by their names; none of them is opened.
class ServiceSearch {
 public:
  /// Adds what `argument` stands for: itself if it ends in .vanto; the services of a host bundle; of another directory
  /// the services in it and those of the host bundles in it. In ascending order of names, none twice.
  void add(const std::string& argument);
  void add(const std::vector<std::string>& arguments);

  [[nodiscard]] const std::vector<std::string>& paths() const noexcept { return paths_; }
  /// What could not be searched, a visible text for each.
  [[nodiscard]] const std::vector<std::string>& problems() const noexcept { return problems_; }

 private:
  enum class Missing { IsProblem, IsEmpty };

  void addPath(std::string path);
  void addServicesIn(const std::string& directory);
  void addAllIn(const std::string& directory);
  [[nodiscard]] std::vector<std::string> namesIn(const std::string& directory, Missing missing);

  std::vector<std::string> paths_;
  std::set<std::string> known_;
  std::vector<std::string> problems_;
};

}  // namespace vanto::tool
