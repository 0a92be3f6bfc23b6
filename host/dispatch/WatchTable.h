// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "dispatch/Workers.h"

namespace vanto {

/// The objects that the workers watch. What the kernel hands back with an event is not an address but the name of a
/// place and of its tenant, so that an event for an object that is no longer watched finds nothing. A place keeps its
/// object while it is pinned, and is reused only after the last pin is gone. Any thread; places are never freed.
class WatchTable {
 public:
  /// Place of a watched object.
  struct Place {
    /// High half: generation, odd while the place has a tenant that is watched. Low half: number of pins.
    std::atomic<std::uint64_t> state{0};
    /// The tenant, owned; written only while nobody can pin the place.
    Watched* object = nullptr;
    /// Where its timer stands in the heap, counted from 1; 0 for nowhere. Belongs to Timers.
    std::size_t heapPosition = 0;
    /// When its timer shall expire. Belongs to Timers.
    std::uint64_t deadline = UINT64_MAX;
    std::uint32_t index = 0;
    /// The next free place. Belongs to the list of free places.
    Place* nextFree = nullptr;
  };

  /// Gives `watched` a place and takes a reference to it.
  std::uint64_t add(Watched& watched) noexcept;

  /// The name of the place of `watched`, 0 when it has none.
  [[nodiscard]] static std::uint64_t nameOf(const Watched& watched) noexcept {
    return watched.watch_.load(std::memory_order_acquire);
  }

  /// Keeps the tenant called `name` where it is until unpin(); null when it is no longer watched.
  [[nodiscard]] Place* pin(std::uint64_t name) noexcept;
  /// The same for the present tenant of a place.
  [[nodiscard]] static Place* pinOpen(Place& place) noexcept;
  void unpin(Place& place) noexcept;

  /// From now on the pinned `place`'s tenant called `name` cannot be pinned again; it leaves with the last pin. False
  /// when another thread has done so already.
  bool close(Place& place, std::uint64_t name) noexcept;

  /// True while the tenant of a pinned place has not been closed.
  [[nodiscard]] static bool isOpen(const Place& place) noexcept;

 private:
  /// Each block of places is twice as large as the one before.
  static constexpr std::uint32_t firstBlockPlaces = 64;
  static constexpr std::uint32_t maximumBlocks = 24;

  [[nodiscard]] Place& at(std::uint32_t index) const noexcept;
  [[nodiscard]] Place& takeFree() noexcept;
  void vacate(Place& place) noexcept;
  void addBlock() noexcept;

  std::atomic<Place*> blocks_[maximumBlocks] = {};
  /// Guards what follows.
  std::mutex mutex_;
  std::uint32_t blockCount_ = 0;
  Place* firstFree_ = nullptr;
};

}  // namespace vanto
