// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "programs/vanto/CapturedConsole.h"
#include "programs/vanto/FakeManager.h"
#include "programs/vanto/ServiceFixture.h"

namespace vanto::testing {

/// Tests with a service bundle and a run-time directory of their own, in which a manager of the user may listen.
class ManagerFixture : public ServiceFixture {
 protected:
  ManagerFixture() { unsetenv("XDG_SESSION_ID"); }

  /// Runs the tool for the domain of the user, so that no other manager of the machine is asked.
  [[nodiscard]] static ToolRun runForUser(std::vector<std::string> arguments, tool::Display output = {}) {
    arguments.insert(arguments.begin() + 1, {"--domain", "user"});
    return runTool(arguments, output);
  }

  const test::RuntimeDirectory runtime_;
};

}  // namespace vanto::testing
