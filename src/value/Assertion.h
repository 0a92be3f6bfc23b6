// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vanto {

/// Reports a broken invariant to the system log, and to the standard error when that is a terminal, and aborts.
[[noreturn]] void assertionFailed(const char* function, const char* file, int line, const char* condition) noexcept;

}  // namespace vanto

/// Ends the process when an invariant does not hold. For mistakes of the program only, never for what files or peers
/// hold.
#define VANTO_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : ::vanto::assertionFailed(__func__, __FILE_NAME__, __LINE__, #condition))

/// The same in an operation of a class; `operation` names both, as in "PlistMutableArray append".
#define VANTO_ASSERT_IN(operation, condition) \
  ((condition) ? static_cast<void>(0) : ::vanto::assertionFailed(operation, __FILE_NAME__, __LINE__, #condition))
