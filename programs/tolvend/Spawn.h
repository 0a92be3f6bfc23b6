// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

#include "value/Fd.h"

namespace vanto::manager {

/// The manager keeps so many descriptors occupied, so that none that it hands to a service has a number that it must
/// get there.
inline constexpr int reservedDescriptors = 6;

/// The numbers of what a service is handed, and of the status pipe.
inline constexpr int serviceDescriptor = 3;
inline constexpr int linkDescriptor = 4;
inline constexpr int statusDescriptor = 5;

/// What all starts of a manager have in common.
struct SpawnSetting {
  /// The file that is executed as the proxy.
  std::string proxy;
  /// Entries of the environment, but for LISTEN_FDNAMES.
  std::vector<std::string> environment;
  /// The limit of descriptors that services get, if the manager has changed its own.
  rlimit descriptors = {};
  bool shallSetDescriptors = false;
};

/// One start. The descriptors are borrowed, and are reservedDescriptors or more.
struct SpawnRequest {
  const char* program = nullptr;
  /// The name of `service` in LISTEN_FDNAMES.
  std::string name;
  int service = -1;
  int link = -1;
  /// The writing end of the status pipe.
  int status = -1;
  int log = -1;
};

/// A process that was made.
struct Spawned {
  pid_t pid = -1;
  Fd process;
};

/// How far a process came that could not be made or does not execute the proxy.
struct SpawnError {
  enum class Step { None, Process, Proxy } step = Step::None;
  /// An errno value.
  int error = 0;
};

/// Makes a process that executes the proxy. No process is left after an error.
[[nodiscard]] SpawnError spawn(const SpawnSetting& setting, const SpawnRequest& request, Spawned& spawned);

}  // namespace vanto::manager
