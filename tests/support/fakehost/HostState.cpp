// SPDX-License-Identifier: Apache-2.0
#include "support/fakehost/HostState.h"

#include <utility>

#include "support/fakehost/FakeConnection.h"
#include "support/fakehost/FakeSigning.h"

namespace vanto::test {

HostState& HostState::shared() noexcept {
  static HostState& state = *new HostState;
  return state;
}

void HostState::reset() {
  clearQueues();
  answers = {};
  whileRunning = nullptr;
  services.clear();
  // Listeners and what they captured live as long as the process. Connections end, and with them what their handlers
  // captured.
  for (auto& listener : std::exchange(listeners, {})) kept_.push_back(std::move(listener));
  for (auto& connection : std::exchange(connections, {})) {
    connection->setHandler(nullptr, nullptr, nullptr);
    if (connection->isHeldByService()) kept_.push_back(std::move(connection));
  }
  const std::lock_guard lock(mutex);
  calls.clear();
  observer = nullptr;
  failing.clear();
  evaluator = nullptr;
  savedArguments.clear();
  argumentVector = {nullptr};
  codes.clear();
  requirements.clear();
  errors.clear();
  entitlements.clear();
}

}  // namespace vanto::test
