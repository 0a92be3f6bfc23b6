// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// The forms in which jobs are printed.
enum class JobForm : std::uint8_t { Xml, Binary, Json, JobData, Ipc };

/// `vanto job`: the jobs of services, as a service manager is given them.
struct JobCommand {
  std::vector<std::string> bundles;
  JobForm form = JobForm::Xml;

  [[nodiscard]] ExitStatus run(Console& console) const;
};

}  // namespace vanto::tool
