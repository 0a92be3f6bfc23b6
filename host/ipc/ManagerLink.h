// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

/// The service's end of the link to the manager that started it, as docs/formats/manager.md describes it. Without such
/// a link nothing here does anything. Any thread, with or without locks.
namespace vanto {

struct ManagerLink {
  /// What the link asks of the process; called on a worker, without locks.
  struct Reactions {
    /// The manager is gone.
    void (*lost)() noexcept;
    /// Has the process leave if it has been idle for so many nanoseconds and nothing has been accepted meanwhile.
    /// False, with nothing changed, when it has not.
    bool (*leaveIfIdle)(std::uint64_t nanoseconds) noexcept;
  };

  /// Looks for the link among what was inherited, and watches it from then on. The manager is told at once how the
  /// process is confined, if it was to be. To be called before anything else here;
  /// where it could not be watched, for want of a descriptor or a thread, it may be called again.
  static void begin(const Reactions& reactions) noexcept;

  /// A listener accepts clients on a socket of the manager's, or has taken a connection from it.
  static void listenerStarted() noexcept;
  /// One that has started will never accept anybody any more.
  static void listenerStopped() noexcept;

  /// A client has got its greeting.
  static void clientWasGreeted() noexcept {
    if (!hasGreeted_.load(std::memory_order_relaxed)) sayGreeted();
  }

  /// A client was accepted and counted.
  static void clientCame() noexcept {
    // Sequentially consistent, as is the count: either who asks sees the client, or this sees the question.
    if (hasAsked_.load()) restartClock();
  }

  /// The process tracks its activity from now on.
  static void activityIsTracked() noexcept;

 private:
  class Watch;

  static void sayGreeted() noexcept;
  static void restartClock() noexcept;
  static void look() noexcept;
  static void read() noexcept;

  static std::atomic<bool> hasGreeted_;
  /// The manager was told that the process is idle, and no client has come since.
  static std::atomic<bool> hasAsked_;
};

}  // namespace vanto
