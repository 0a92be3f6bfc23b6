// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace vanto::vexd {

/// Whether the file system of a file that the process `pid` has open or executes is one that is mounted for this
/// process too. No user mounts one there, whatever he mounts in namespaces of his own. `descriptor` is of the file.
[[nodiscard]] bool isMountedHere(int descriptor, pid_t pid);

/// The device of a mount, such as "8:1", in a table of mounts of the kernel; empty when it is not there.
[[nodiscard]] std::string_view deviceOfMount(std::string_view table, std::uint64_t mount) noexcept;

/// Whether a mount in the table has that device.
[[nodiscard]] bool hasDevice(std::string_view table, std::string_view device) noexcept;

}  // namespace vanto::vexd
