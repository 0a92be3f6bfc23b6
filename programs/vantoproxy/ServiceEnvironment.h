// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "vantoproxy/Failure.h"
#include "vantoproxy/Handover.h"

namespace vanto {

/// The environment that a service begins with: of what the manager gave, only variables that are known to be for
/// services and those that the manager lists; each once. It must stay where it is until the service is executed, and so
/// must what it was filled from.
class ServiceEnvironment {
 public:
  ServiceEnvironment() noexcept = default;
  ServiceEnvironment(const ServiceEnvironment&) = delete;
  ServiceEnvironment& operator=(const ServiceEnvironment&) = delete;

  /// Takes from `given` what the service shall have, and adds PATH where there is none and, with listeners, LISTEN_PID.
  [[nodiscard]] Failure fill(char* const* given, const Handover& handover) noexcept;

  /// The variables, with a null behind them.
  [[nodiscard]] const char* const* variables() const noexcept { return variables_; }

 private:
  enum class Room { Left, Used };

  [[nodiscard]] bool has(std::string_view name) const noexcept;
  [[nodiscard]] Room add(const char* entry) noexcept;
  [[nodiscard]] Room addListenPid() noexcept;

  const char* variables_[maximumVariables + 1] = {};
  int count_ = 0;
  /// The text of LISTEN_PID.
  char listenPid_[32] = {};
};

}  // namespace vanto
