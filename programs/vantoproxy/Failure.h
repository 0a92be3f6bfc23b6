// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vantoproxy/ExecStatus.h"

namespace vanto {

/// Why a step failed, or, when it is false, that it did not.
struct Failure {
  ExecStage stage = {};
  /// An errno value; 0 when nothing failed.
  int error = 0;
  /// What is wrong, as the end of a sentence that begins with the path, and what to do about it.
  const char* reason = "";
  const char* remedy = "";

  explicit operator bool() const noexcept { return error != 0; }
};

/// The exit status of the process that failed so: 2 for a wrong call, 127 when nothing is at the path, 126 when it
/// cannot be executed, 125 for all else.
[[nodiscard]] int exitStatusOf(const Failure& failure) noexcept;

/// Writes the record to the pipe `status`, unless that is negative, closes it, and then writes a message of one line to
/// standard error. `path` may be null. Readers that are gone do no harm; SIGPIPE is ignored from here on.
void report(const Failure& failure, const char* path, int status) noexcept;

}  // namespace vanto
