// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto::testing {

/// Says that the running test leaves `count` more objects behind on purpose, such as those that the process keeps from
/// then on. Without it a test fails when the number of living objects is not what it was before.
void leaveObjects(std::int64_t count);

}  // namespace vanto::testing
