// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vanto::test {

/// What a run of the proxy, and of what it executed, came to.
struct ProxyOutcome {
  /// "exit status 0", "signal 9".
  std::string end;
  /// Everything that came through the status pipe until its end.
  std::string record;
  std::string output;
  std::string messages;
  pid_t pid = -1;

  [[nodiscard]] std::vector<std::string> lines() const;
  /// The lines of output that begin with `word` and a blank, without both.
  [[nodiscard]] std::vector<std::string> lines(const std::string& word) const;
};

/// How the proxy is run besides.
struct ProxySetting {
  /// What the manager sets beside VANTO_EXEC_STATUS.
  std::vector<std::string> environment = {};
  /// Called in the child before the proxy takes its place, when its standard streams are there.
  std::function<void()> prepare = [] {
  };
  enum class StatusPipe { There, ReaderGone, None } statusPipe = StatusPipe::There;
};

/// The number that the status pipe has in the proxy.
inline constexpr int statusDescriptor = 20;

/// The bytes that a manager reads.
[[nodiscard]] std::string recordOf(unsigned stage, int error);

/// Runs the proxy in a process of its own to the end.
[[nodiscard]] ProxyOutcome runProxyProcess(const std::vector<std::string>& arguments, const ProxySetting& setting = {});

}  // namespace vanto::test
