// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

#include "dispatch/WatchTable.h"

namespace vanto {

/// The timers of the watched objects: a heap by deadline and one timer descriptor. A deadline that moves to a later
/// time, or is taken away, leaves heap and descriptor as they are; the truth is looked up when the old time comes. So a
/// timeout that is set and taken away for each call costs a system call only once in its own length. Any thread.
class Timers {
 public:
  /// Sets the descriptor that setDeadline() arms; before any other use.
  void setDescriptor(int timerDescriptor) noexcept { descriptor_ = timerDescriptor; }

  /// From now on nothing stays armed once no timer is set, and taking one away may cost a system call: for a program
  /// that shall never wake up in vain. Before any other use.
  void disarmWhenEmpty() noexcept { disarmsWhenEmpty_ = true; }

  /// Sets the deadline of a pinned place; UINT64_MAX takes it away. Does nothing for a closed place.
  void set(WatchTable::Place& place, std::uint64_t deadline) noexcept;

  /// Takes away the timer of a place that is closed and pinned.
  void remove(WatchTable::Place& place) noexcept;

  /// To be called when the descriptor became ready: takes out one timer that is due at `now`, makes the descriptor
  /// ready again for the next one, and gives the place, still open and pinned; null when none is due.
  [[nodiscard]] WatchTable::Place* takeDue(WatchTable& table, std::uint64_t now) noexcept;

 private:
  struct Entry {
    /// Never after the deadline of the place.
    std::uint64_t key;
    WatchTable::Place* place;
  };

  void append(const Entry& entry) noexcept;
  void store(std::size_t position, const Entry& entry) noexcept;
  void moveUp(std::size_t position) noexcept;
  void moveDown(std::size_t position) noexcept;
  void removeAt(std::size_t position) noexcept;
  void arm() noexcept;
  void armFor(std::uint64_t time) noexcept;
  void takeAway(WatchTable::Place& place) noexcept;

  std::mutex mutex_;
  /// The earliest first; never freed, since the pool never ends.
  Entry* heap_ = nullptr;
  std::size_t count_ = 0;
  std::size_t capacity_ = 0;
  /// When the descriptor becomes ready; UINT64_MAX for never.
  std::uint64_t armed_ = UINT64_MAX;
  int descriptor_ = -1;
  bool disarmsWhenEmpty_ = false;
};

}  // namespace vanto
