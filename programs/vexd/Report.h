// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "vexd/DigestAnswer.h"
#include "vexd/ExaminedProcess.h"

namespace vanto::vexd {

/// What is told of a process.
struct Report {
  Refusal refusal{};
  /// Without a refusal.
  DigestAnswer answer{};
  dev_t device = 0;
  ino_t inode = 0;
  /// The reply that says all this, where it is ready for the next one who asks; else null.
  std::shared_ptr<vanto_object> reply{};
  /// Until when it may be kept (CLOCK_MONOTONIC, nanoseconds).
  std::uint64_t goodUntil = UINT64_MAX;
};

}  // namespace vanto::vexd
