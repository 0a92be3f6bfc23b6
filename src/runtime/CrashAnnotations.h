// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <VantoService/Export.h>

namespace vanto {

/// What a process says of its own death to whoever looks at its memory afterwards: seven words in a section of their
/// own, "vanto_crash_info".
struct CrashAnnotations {
  /// Version of the record.
  std::uintptr_t version;
  /// Why the process died; null as long as it lives.
  const char* message;
  /// Zero.
  std::uintptr_t reserved[5];
};
static_assert(sizeof(CrashAnnotations) == 7 * sizeof(std::uintptr_t));

}  // namespace vanto

/// The record of this process. Only the message is ever written, just before the process aborts.
extern "C" VANTO_EXPORT vanto::CrashAnnotations gCRAnnotations;
