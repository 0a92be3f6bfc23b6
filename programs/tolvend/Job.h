// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto::manager {

/// A job that was found good.
struct Job {
  /// What people call it.
  std::string label;
  /// The name of its service.
  std::string name;
  /// The absolute path of its executable.
  std::string program;
  /// Each connection has an instance of its own.
  bool isMultiple = false;
  /// Its service is allowed to leave when it is idle.
  bool leavesWhenIdle = false;
  /// All of it, as job data in bytes. Two jobs are the same if these are.
  std::string data;
};

}  // namespace vanto::manager
