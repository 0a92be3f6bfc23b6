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
  // While it is still to be looked at, a client waits for it.
  return seemsToAccept && lookAt == UINT64_MAX ? Stage::Serving : Stage::Listening;
}

bool InstanceRecord::isUnseen() const noexcept {
  return !isAsked && !hasFailed && !mayLeave && stage() != StartFailure::Stage::Serving;
}

StartFailure InstanceRecord::failure(std::uint64_t now) const noexcept {
  StartFailure failure;
  failure.stage = stage();
  failure.ran = now - since;
  failure.instance = id;
  failure.time = now;
  return failure;
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
