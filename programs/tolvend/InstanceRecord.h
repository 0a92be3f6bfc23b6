// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <sys/types.h>

#include "tolvend/StartFailure.h"

namespace vanto::manager {

/// Names one process of a job to its life cycle; never 0, and never used again.
using InstanceId = std::uint64_t;

/// How a process ended.
struct Ending {
  enum class Kind : std::uint8_t { Exited, Signalled };
  Kind kind = Kind::Exited;
  /// Exit status, or number of the signal.
  int value = 0;
};

/// What a life cycle knows of one process that has not ended.
struct InstanceRecord {
  enum class State : std::uint8_t {
    Starting,  ///< it has not said that it listens, nor been seen to
    Running,
    Stopping  ///< it was asked to end, or accepts nobody any more
  };

  InstanceId id = 0;
  /// When it was made, in nanoseconds of CLOCK_MONOTONIC, like all times here.
  std::uint64_t since = 0;
  /// When it is looked at next whether it accepts clients; UINT64_MAX for never.
  std::uint64_t lookAt = UINT64_MAX;
  /// By when it must have accepted somebody of those who wait, while it is looked at.
  std::uint64_t acceptBy = UINT64_MAX;
  /// When it is killed; UINT64_MAX for never.
  std::uint64_t killAt = UINT64_MAX;
  bool isExecuted = false;
  bool saidListening = false;
  /// Has not said that it listens, and seems to: as it was looked at, a client was accepted, or none came for long.
  bool seemsToAccept = false;
  /// A client was seen to be accepted.
  bool hasAccepted = false;
  bool hasGreeted = false;
  bool saidStopped = false;
  /// Had said that it was idle, and was allowed to leave.
  bool mayLeave = false;
  /// Was asked to end, so that its end is no failure.
  bool isAsked = false;
  /// It has failed already; its end is none of its own.
  bool hasFailed = false;
  /// Of a job with several instances: whose connection it is for, and whether the world keeps a descriptor of that.
  uid_t user = 0;
  bool hasConnection = false;
  /// When the world gave that up, the client had left already.
  bool hasLostClient = false;

  [[nodiscard]] State state() const noexcept;
  /// Which stage of its life a failure at this moment is one of: Listening, Greeting or Serving.
  [[nodiscard]] StartFailure::Stage stage() const noexcept;
  /// A failure of it at `now`, without a reason.
  [[nodiscard]] StartFailure failure(std::uint64_t now) const noexcept;
  /// The same, where it ends with status 0 at `now` or stops accepting: once it is allowed to leave, its stage is
  /// Serving, since those who wait may have come meanwhile.
  [[nodiscard]] StartFailure leaving(std::uint64_t now) const noexcept;
  /// Whether it fails those who wait by that. A run below `shortRun`, in nanoseconds, always does.
  [[nodiscard]] bool leavesUnserved(std::uint64_t now, std::uint64_t shortRun) const noexcept;
};

/// Whether a process that nobody asked to end failed by ending so.
[[nodiscard]] inline bool isCrash(Ending ending) noexcept {
  return ending.kind == Ending::Kind::Signalled || ending.value != 0;
}

/// The word for a state that people are told: "starting" and so on.
[[nodiscard]] const char* stateName(InstanceRecord::State state) noexcept;

}  // namespace vanto::manager
