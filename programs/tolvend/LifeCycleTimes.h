// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vanto::manager {

/// How long a life cycle waits, in nanoseconds. What is here is the rule; tests have less patience.
struct LifeCycleTimes {
  /// The pause after a start that failed before the service was executed. It does not grow: what is missing may be
  /// there at any moment, and trying costs little.
  std::uint64_t startPause = 100'000'000;
  /// Clients wait for the end of a pause that lasts no longer than this, and are told of a longer one.
  std::uint64_t patience = 1'000'000'000;
  /// Within this a process has to accept the clients that wait.
  std::uint64_t listening = 10'000'000'000;
  /// So often it is looked at meanwhile whether it does. Where the kernel does not tell who waits, only a look that
  /// finds nobody is a proof.
  std::uint64_t looking = 1'000'000'000;
  /// Within this a process has to end once it is asked to, or has said that it accepts nobody.
  std::uint64_t ending = 20'000'000'000;
  /// For so long after a failure before the first greeting clients are told of it: a client that was accepted and lost
  /// its connection tries again by itself, and would wait for another such failure.
  std::uint64_t retelling = 50'000'000;
  /// A process that ends with status 0, or stops accepting, sooner than this while somebody waits has failed, whatever
  /// it has said: it would be started for them without end.
  std::uint64_t shortRun = 1'000'000'000;
};

}  // namespace vanto::manager
