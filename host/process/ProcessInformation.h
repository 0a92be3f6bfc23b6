// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace vanto {

/// The beginning of what the kernel tells of the process of a descriptor, since Linux 6.13.
struct ProcessInformation {
  std::uint64_t mask = 0;
  std::uint64_t group = 0;
  std::uint32_t pid = 0;
  std::uint32_t threadGroup = 0;
  std::uint32_t parent = 0;
  std::uint32_t realUser = 0;
  std::uint32_t realGroup = 0;
  std::uint32_t others[7] = {};
};
static_assert(sizeof(ProcessInformation) == 64);

/// Process id and owner of the process of the descriptor `process`; none where the kernel does not tell, or not for
/// this process.
[[nodiscard]] std::optional<ProcessInformation> informationOf(int process) noexcept;

/// Whether this kernel tells. Where it does not, files of /proc have to be read.
[[nodiscard]] bool hasProcessInformation() noexcept;

}  // namespace vanto
