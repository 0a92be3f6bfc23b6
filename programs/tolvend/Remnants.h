// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tolvend/ProcessRecords.h"

namespace vanto::manager {

/// Kills what is left of a service of a manager that is no more, when the service itself has ended: the processes of
/// this user in its session or its group, and those that it has forked off.
void killRemnants(const ProcessRecord& record);

}  // namespace vanto::manager
