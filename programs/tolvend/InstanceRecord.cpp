// SPDX-License-Identifier: Apache-2.0
#include "tolvend/InstanceRecord.h"

namespace vanto::manager {

InstanceRecord::State InstanceRecord::state() const noexcept {
  if (isAsked || saidStopped || hasFailed) return State::Stopping;
  return saidListening || seemsToAccept ? State::Running : State::Starting;
}

StartFailure::Stage InstanceRecord::stage() const noexcept {
  using Stage = StartFailure::Stage;
  if (saidStopped || hasGreeted) return Stage::Serving;
  if (saidListening) return Stage::Greeting;
  if (hasAccepted) return Stage::Serving;
  // While it is still to be looked at, a client waits for it.
  return seemsToAccept && lookAt == UINT64_MAX ? Stage::Serving : Stage::Listening;
}

StartFailure InstanceRecord::failure(std::uint64_t now) const noexcept {
  StartFailure failure;
  failure.stage = stage();
  failure.ran = now - since;
  failure.instance = id;
  failure.time = now;
  return failure;
}

StartFailure InstanceRecord::leaving(std::uint64_t now) const noexcept {
  StartFailure left = failure(now);
  if (mayLeave) left.stage = StartFailure::Stage::Serving;
  return left;
}

bool InstanceRecord::leavesUnserved(std::uint64_t now, std::uint64_t shortRun) const noexcept {
  // Who has said that it stopped was judged then, and those who wait now wait for another.
  if (isAsked || hasFailed || saidStopped) return false;
  return now - since < shortRun || (!mayLeave && stage() != StartFailure::Stage::Serving);
}

const char* stateName(InstanceRecord::State state) noexcept {
  switch (state) {
    case InstanceRecord::State::Starting:
      return "starting";
    case InstanceRecord::State::Running:
      return "running";
    case InstanceRecord::State::Stopping:
      break;
  }
  return "stopping";
}

}  // namespace vanto::manager
