// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace vanto::manager {

/// Why a client got no service: how far its start came, and what ended it.
struct StartFailure {
  /// In the order of a start. The names are those that clients and people are told.
  enum class Stage : std::uint8_t {
    Held,       ///< "held": its owner does not let it start
    Pause,      ///< "pause": it failed before and is not started again yet
    Limit,      ///< "limit": too many instances
    Resources,  ///< "resources": the manager could not make a process for it
    Proxy,      ///< "proxy": the proxy could not be executed
    Call,       ///< "call", and so on: the stages of the proxy
    Handover,
    Descriptors,
    ProcessState,
    Executable,
    Execution,
    Listening,    ///< "listening": it ended, or time passed, before it listened
    Confinement,  ///< "confinement": it listened, and is confined less than this manager demands
    Greeting,     ///< "greeting": it ended before it greeted a client
    Serving,      ///< "serving": it ended by a failure later on; clients who wait are not told
    Removed,      ///< "removed": its job was unloaded
    Manager       ///< "manager": the manager is ending
  };

  Stage stage = Stage::Resources;
  /// An errno value, or 0.
  int error = 0;
  /// How the process ended, where it did: one of the two, the other is -1.
  int exitStatus = -1;
  int signal = -1;
  /// For how long the process ran, in nanoseconds; 0 where there was none.
  std::uint64_t ran = 0;
  /// For how long clients have waited for it to accept them, in nanoseconds, where that was too long; then `error` is
  /// ETIMEDOUT.
  std::uint64_t patience = 0;
  /// The instance that failed, 0 for none.
  std::uint64_t instance = 0;
  /// For how long the next start is put off from `time` on, in nanoseconds; 0 when it may be at once.
  std::uint64_t pause = 0;
  /// CLOCK_MONOTONIC in nanoseconds.
  std::uint64_t time = 0;
  /// What is wrong in words, for stages whose failures have no number; empty for others.
  std::string reason = {};
};

/// A failure that no process is to blame for.
[[nodiscard]] StartFailure failureOf(StartFailure::Stage stage, std::uint64_t now) noexcept;
/// What clients are told at `now` of a failure before, after which nothing is started until `end`.
[[nodiscard]] StartFailure pauseAfter(const StartFailure& failure, std::uint64_t end, std::uint64_t now) noexcept;

/// The word for a stage.
[[nodiscard]] const char* stageName(StartFailure::Stage stage) noexcept;

/// One line for clients and people, without the name of the service, such as
/// "executable: No such file or directory (error 2)" or "greeting: ended by signal 11 (Segmentation fault) …".
[[nodiscard]] std::string failureText(const StartFailure& failure);

}  // namespace vanto::manager
