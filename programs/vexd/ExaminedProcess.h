// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "value/Fd.h"

namespace vanto::vexd {

/// Why nothing can be said of a process; the numbers are those of a reply.
enum class Failure : std::int8_t {
  None = 0,
  Unavailable = -1,
  Gone = -2,
  Unknown = -3,
  Hidden = -4,
  Traced = -5,
  TimedOut = -6,
  Busy = -7
};

struct Refusal {
  Failure failure = Failure::None;
  /// For people.
  std::string reason;
};

/// A process that is looked at, with its executable.
struct ExaminedProcess {
  uid_t user = 0;
  /// Named only, not to be read from.
  Fd executable;
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t bytes = 0;
  /// Where the executable lies, as the kernel says; empty when it lies nowhere any more.
  std::string path;

  /// Opens what the process of the descriptor executes. None, with the reason, when that cannot be said for certain:
  /// what is opened is that of this very process, or nothing is.
  [[nodiscard]] static std::optional<ExaminedProcess> open(int process, Refusal& refusal);
};

/// Opens what a descriptor names; none with errno when it may not be read.
[[nodiscard]] Fd openForReading(const Fd& place);

}  // namespace vanto::vexd
