// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vexd/FactsCache.h"

namespace vanto::vexd {

/// The key of the answer about what the process of a descriptor executes, for who only wants one that is kept: nothing
/// is opened but the text of the process's state. False for whatever is not plain (a process that has ended, is traced
/// or cannot be looked at, an older kernel); ExaminedProcess tells why. An executable that lies nowhere any more has a
/// key under which nothing is kept.
[[nodiscard]] bool glanceAtCode(int process, FactsKey& key);

}  // namespace vanto::vexd
