// SPDX-License-Identifier: Apache-2.0
#include "tolvend/LifeCycleState.h"

namespace vanto::manager {

const char* stateName(LifeCycleState state) noexcept {
  switch (state) {
    case LifeCycleState::Resting:
      return "resting";
    case LifeCycleState::Pausing:
      return "pausing";
    case LifeCycleState::Starting:
      return "starting";
    case LifeCycleState::Running:
      return "running";
    case LifeCycleState::Stopping:
      return "stopping";
    case LifeCycleState::Held:
      break;
  }
  return "held";
}

}  // namespace vanto::manager
