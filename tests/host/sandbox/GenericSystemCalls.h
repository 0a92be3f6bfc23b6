// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto::testing {

/// The number of a system call on machines with the kernel's generic table, such as aarch64, in the headers that this
/// is compiled with; -1 when those do not know it.
[[nodiscard]] long genericNumberOf(std::string_view call);

/// The same for x86-64, in the headers of such a machine.
[[nodiscard]] long x86NumberOf(std::string_view call);

}  // namespace vanto::testing
