// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace vanto::soak {

/// What sanitizers have to say of the manager, the proxy and the services. Each process that is started from now on
/// writes its report to a file of its own in a directory, since nobody sees what a service writes. Without sanitizers
/// there are none. One in a program.
class SanitizerReports {
 public:
  /// `directory` is there, empty, and used by nobody else.
  explicit SanitizerReports(std::string directory);

  /// Has a manager hand on to its services where reports go.
  [[nodiscard]] static std::vector<std::string> managerArguments();

  /// The first report that tells of a fault, by its file and those lines, or empty.
  [[nodiscard]] std::string first() const;

 private:
  const std::string directory_;
};

}  // namespace vanto::soak
