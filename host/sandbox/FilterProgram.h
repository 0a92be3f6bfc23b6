// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <linux/filter.h>

#include "sandbox/SystemCallRule.h"

namespace vanto {

/// `rules` as a program of the kernel's for `machine`. It refuses calls that are made as those of another machine,
/// whose numbers mean something else, and lets through whatever no rule holds for. Of several rules that hold for a
/// call the first counts. Rules for calls that the machine does not have are left out.
[[nodiscard]] std::vector<sock_filter> filterProgramOf(std::span<const SystemCallRule> rules, Machine machine);

/// The same the other way round: only calls of these numbers of the machine are let through, and all others refused
/// with EPERM. It is longer than BPF_MAXINSNS, which the kernel refuses, for about 2000 of them that are no neighbours.
[[nodiscard]] std::vector<sock_filter> filterProgramOfOnly(std::span<const std::uint32_t> numbers, Machine machine);

}  // namespace vanto
