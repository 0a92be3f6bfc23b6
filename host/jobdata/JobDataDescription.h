// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "jobdata/JobDataNode.h"

namespace vanto {

/// A text for people: one line, control characters escaped, cut with "..." beyond the limits of depth and length.
[[nodiscard]] std::string describeJobData(const tolven_data* data);

}  // namespace vanto
