// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto::manager {

/// What the life of a job is at.
enum class LifeCycleState : std::uint8_t {
  Resting,   ///< no process that accepts; the first client starts one
  Pausing,   ///< as Resting, after a failure: no start before the back-off is over
  Starting,  ///< a process was made that has not said that it listens
  Running,   ///< a process accepts clients
  Stopping,  ///< the process was asked to end and may still accept
  Held       ///< nothing is started; clients are told so
};

/// The word for a state that people are told: "resting" and so on.
[[nodiscard]] const char* stateName(LifeCycleState state) noexcept;

}  // namespace vanto::manager
