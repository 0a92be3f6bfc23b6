// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "sandbox/KernelRights.h"

namespace vanto {

/// What the running kernel enforces for this process, each bit found out by trying it. Changes nothing. None, with
/// errno, when that cannot be told, for want of descriptors or memory: then nobody may take the kernel for one that
/// enforces less. Any thread.
[[nodiscard]] std::optional<KernelRights> probeKernelRights() noexcept;

/// The errno value with which this process is refused any ruleset; 0 where it can make one. The kernel itself never
/// says EPERM or EACCES: those come from what stands around the process. Changes nothing. Any thread.
[[nodiscard]] int errorOfLandlock() noexcept;

}  // namespace vanto
