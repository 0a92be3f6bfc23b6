// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// What the process has in hand: open connections, messages that are being dealt with, handlers that run, and what is
/// still to be sent. Any thread, with or without locks.
namespace vanto {

struct Activity {
  /// Something came into hand that must be finished before the process may end on request.
  static void began() noexcept;
  static void ended() noexcept;

  static void connectionOpened() noexcept;
  static void connectionClosed() noexcept;

  /// Has the process account for itself to a manager; see vanto_track_activity().
  static void track() noexcept;
  [[nodiscard]] static bool isTracked() noexcept;

  /// When the last of all that is counted ended (CLOCK_MONOTONIC, nanoseconds), or tracking began; UINT64_MAX while
  /// there is a connection or something in hand, and where nothing is tracked.
  [[nodiscard]] static std::uint64_t idleSince() noexcept;

  /// True once the process was asked to end: nothing new is taken into hand any more.
  [[nodiscard]] static bool isEnding() noexcept;
  /// Ends the process with status 0 as soon as nothing is in hand. exit() is called by a worker that does nothing else,
  /// so no handler is interrupted by it.
  static void endWhenIdle() noexcept;
  /// True once exit() is about to be called: what was not in hand by then must not begin any more.
  [[nodiscard]] static bool isOver() noexcept;

  [[nodiscard]] static std::size_t inHand() noexcept;
  [[nodiscard]] static std::size_t openConnections() noexcept;
};

}  // namespace vanto
