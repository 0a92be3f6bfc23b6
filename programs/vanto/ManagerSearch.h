// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vanto/JobState.h"
#include "vanto/ManagerClient.h"

namespace vanto::tool {

/// Which manager an order goes to, and for how long it is waited for.
struct ManagerChoice {
  /// None for whichever there is.
  std::optional<ManagerDomain> domain;
  /// Nanoseconds.
  std::uint64_t timeout = 60'000'000'000;
};

/// Finds managers, and connects to each at most once.
class ManagerSearch {
 public:
  explicit ManagerSearch(const ManagerChoice& choice) : choice_(choice) {}

  /// The manager of a domain, or null with `fault`.
  [[nodiscard]] ManagerClient* manager(ManagerDomain domain, OrderFault& fault);

  /// Those of the choice that run. What is wrong with others, and that there is none, is added to `problems`.
  [[nodiscard]] std::vector<ManagerClient*> managers(std::vector<std::string>& problems);

  /// A job, and the manager that has it.
  struct Found {
    ManagerClient* manager = nullptr;
    JobState state;
  };
  /// Looks for the job of that label in the order of the domains. None with a visible text in `problem`.
  [[nodiscard]] std::optional<Found> find(const std::string& label, std::string& problem);

 private:
  [[nodiscard]] std::optional<JobState> stateIn(ManagerClient& manager, const std::string& label, OrderFault& fault);

  struct Attempt {
    std::unique_ptr<ManagerClient> client;
    OrderFault fault;
  };

  ManagerChoice choice_;
  std::map<ManagerDomain, Attempt> attempts_;
};

}  // namespace vanto::tool
