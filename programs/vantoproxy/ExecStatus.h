// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto {

/// How far a start had come when it failed. The numbers are what a manager reads, so none is ever given another
/// meaning.
enum class ExecStage : std::uint32_t {
  /// Not exactly one absolute path was given.
  Call = 1,
  /// A variable by which the manager hands something over makes no sense, or names a closed descriptor.
  Handover = 2,
  /// Descriptors 0 to 2 could not be filled, or the others not be closed.
  Descriptors = 3,
  /// Signals, session, working directory or limits could not be set.
  State = 4,
  /// There is nothing at the path that could be executed.
  Executable = 5,
  /// The system refused to execute it.
  Execution = 6,
};

/// What a manager reads from the status pipe of a start that failed, in the byte order of the machine. A start that
/// succeeds leaves the pipe at its end, without a byte.
struct ExecRecord {
  ExecStage stage;
  /// An errno value, never 0.
  std::int32_t error;
};
static_assert(sizeof(ExecRecord) == 8);

/// The variable with the decimal number of the status pipe's writing end.
inline constexpr char execStatusVariable[] = "VANTO_EXEC_STATUS";

/// The variable with the names, separated by colons, of further variables that the service shall have.
inline constexpr char keepVariable[] = "VANTO_KEEP";

/// As many descriptors can be handed to a service.
inline constexpr int maximumListeners = 64;

/// As many variables can a service have, with those that are set for it.
inline constexpr int maximumVariables = 256;

}  // namespace vanto
