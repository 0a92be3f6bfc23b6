// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Why a value cannot be written, in whatever form.
namespace vanto::problems {

inline constexpr const char* hole = "an array with a hole cannot be written";
inline constexpr const char* noValue = "an object that is no property-list value cannot be written";
inline constexpr const char* tooDeep = "containers nested too deep for readers";
inline constexpr const char* tooLarge = "a value that takes more than 64 MiB cannot be written";

}  // namespace vanto::problems
