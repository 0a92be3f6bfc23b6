// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <sys/resource.h>

#include "value/Fd.h"

/// What the manager does to its own process before it does anything else.
namespace vanto::manager {

/// As it was before.
struct FormerState {
  rlimit descriptors = {};
  bool hasRaisedDescriptors = false;
  /// What standard input was.
  Fd input;
};

/// Gives the process a known state: /dev/null as standard input; standard output and error that are open; nothing else
/// open but the descriptors that are reserved for services; as many descriptors as it may have; no file that others may
/// read; SIGPIPE ignored. An empty text, or what went wrong.
[[nodiscard]] std::string prepareProcess(FormerState& former);

/// The signals that the manager waits for, from then on blocked: those that ask it to end, and SIGCHLD. None with
/// errno.
[[nodiscard]] Fd openSignals() noexcept;

/// Of this process's environment what services get: what is documented for all of them, and the variables called
/// `keep`. With LISTEN_FDS and what the proxy needs.
[[nodiscard]] std::vector<std::string> serviceEnvironment(const std::vector<std::string>& keep);

}  // namespace vanto::manager
