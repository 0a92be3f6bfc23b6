// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vantoproxy/Failure.h"
#include "vantoproxy/Handover.h"

namespace vanto {

/// Opens /dev/null in the place of each of the descriptors 0 to 2 that is closed.
[[nodiscard]] Failure plugStandardDescriptors() noexcept;

/// Closes every descriptor but 0 to 2 and those that are handed over.
[[nodiscard]] Failure closeAllBut(const Handover& handover) noexcept;

}  // namespace vanto
