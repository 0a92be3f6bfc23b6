// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
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

  /// What became of a question.
  enum class Outcome : std::uint8_t { Answered, Failed, TookTooLong, Unwanted };

  /// Its answer; none when it gave none within `nanoseconds`, or `isWanted` said no meanwhile, and it was ended. One
  /// that had ended before is started anew.
  [[nodiscard]] std::optional<DigestAnswer> ask(const DigestRequest& request, std::uint64_t nanoseconds,
                                                const std::function<bool()>& isWanted);
  /// Of the last question.
  [[nodiscard]] Outcome outcome() const noexcept { return outcome_; }

  /// 0 when there is none.
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

 private:
  [[nodiscard]] bool start();
  void end() noexcept;
  [[nodiscard]] Outcome await(std::uint64_t deadline, const std::function<bool()>& isWanted) const;

  const std::string program_;
  pid_t pid_ = 0;
  Fd socket_;
  Outcome outcome_ = Outcome::Failed;
};

}  // namespace vanto::vexd
