// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "value/Fd.h"
#include "vexd/DigestAnswer.h"
#include "vexd/DigestRequest.h"

namespace vanto::vexd {

/// A process that digests, started when it is first needed, and again when it has ended or took too long. For one
/// thread.
class DigesterProcess {
 public:
  /// `program` is the path of the program.
  explicit DigesterProcess(std::string program) : program_(std::move(program)) {}
  ~DigesterProcess();
  DigesterProcess(const DigesterProcess&) = delete;
  DigesterProcess& operator=(const DigesterProcess&) = delete;

  /// Its answer; none when it gave none within `nanoseconds`. One that had ended before is started anew.
  [[nodiscard]] std::optional<DigestAnswer> ask(const DigestRequest& request, std::uint64_t nanoseconds);

  /// 0 when there is none.
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

 private:
  [[nodiscard]] bool start();
  void end() noexcept;

  const std::string program_;
  pid_t pid_ = 0;
  Fd socket_;
};

}  // namespace vanto::vexd
