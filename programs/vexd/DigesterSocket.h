// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto::vexd {

/// The descriptor on which a process that digests is asked.
inline constexpr int digesterSocket = 3;

}  // namespace vanto::vexd
