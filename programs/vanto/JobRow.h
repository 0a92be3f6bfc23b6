// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "vanto/Columns.h"
#include "vanto/JobState.h"
#include "vanto/ManagerDomain.h"

namespace vanto::tool {

/// Where there is one manager only, its domain is no news.
enum class DomainColumn : std::uint8_t { Hidden, Shown };

/// The states of jobs as rows of a table.
struct JobRow {
  /// "LABEL", "STATE" and so on.
  [[nodiscard]] static Row headline(DomainColumn column);
  [[nodiscard]] static Row of(const JobState& job, ManagerDomain domain, DomainColumn column);
  /// Of a job that was unloaded.
  [[nodiscard]] static Row removed(const std::string& label, ManagerDomain domain, DomainColumn column);
};

}  // namespace vanto::tool
