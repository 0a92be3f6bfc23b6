// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "support/RunningManager.h"
#include "support/TemporaryDirectory.h"

namespace vanto::refusals {

/// A manager with the example's service, which admits signed clients only, and the code-signing service; with a key of
/// its own that is trusted here only. One thread.
class Site {
 public:
  struct Programs {
    std::string manager;
    std::string proxy;
    std::string tool;
    std::string vexd;
    /// The bundle of the service.
    std::string service;
    /// What clients execute.
    std::string client;
  };
  explicit Site(Programs programs);
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  /// Empty, or what went wrong.
  [[nodiscard]] std::string begin();
  [[nodiscard]] std::string end();

  /// A client that the service admits.
  [[nodiscard]] std::string friendProgram() const { return directory_ / "friend"; }
  /// A place for files of clients.
  [[nodiscard]] const std::string& directory() const noexcept { return directory_.path(); }

  /// The processes that have to do with a client, by name; those that are judged.
  [[nodiscard]] std::vector<std::pair<std::string, pid_t>> processes() const;

 private:
  [[nodiscard]] std::string sign() const;
  [[nodiscard]] int runTool(std::vector<std::string> arguments, const std::string& output) const;
  [[nodiscard]] pid_t processOf(const char* label) const;

  const Programs programs_;
  const test::TemporaryDirectory directory_;
  test::RunningManager manager_;
};

}  // namespace vanto::refusals
