// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include <linux/filter.h>
#include <linux/seccomp.h>

namespace vanto::testing {

/// What a filter program answers to a call: "allow", "error 1", or, when the program is none that the kernel would run,
/// what is wrong with it.
[[nodiscard]] std::string answerOf(std::span<const sock_filter> program, const seccomp_data& call);

/// How many instructions of it are executed for that.
[[nodiscard]] std::size_t stepsOf(std::span<const sock_filter> program, const seccomp_data& call);

}  // namespace vanto::testing
