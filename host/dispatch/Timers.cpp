// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Timers.h"

#include <algorithm>

#include <sys/timerfd.h>

#include "value/Memory.h"

namespace vanto {

void Timers::append(const Entry& entry) noexcept {
  if (count_ == capacity_) {
    capacity_ = std::max<std::size_t>(2 * capacity_, 16);
    heap_ = static_cast<Entry*>(Memory::resize(heap_, Memory::product(capacity_, sizeof(Entry))));
  }
  heap_[count_++] = entry;
}

void Timers::store(std::size_t position, const Entry& entry) noexcept {
  heap_[position] = entry;
  entry.place->heapPosition = position + 1;
}

void Timers::moveUp(std::size_t position) noexcept {
  const Entry entry = heap_[position];
  while (position > 0) {
    const std::size_t parent = (position - 1) / 2;
    if (heap_[parent].key <= entry.key) break;
    store(position, heap_[parent]);
    position = parent;
  }
  store(position, entry);
}

void Timers::moveDown(std::size_t position) noexcept {
  const Entry entry = heap_[position];
  for (;;) {
    std::size_t child = 2 * position + 1;
    if (child >= count_) break;
    if (child + 1 < count_ && heap_[child + 1].key < heap_[child].key) ++child;
    if (entry.key <= heap_[child].key) break;
    store(position, heap_[child]);
    position = child;
  }
  store(position, entry);
}

void Timers::removeAt(std::size_t position) noexcept {
  heap_[position].place->heapPosition = 0;
  const Entry last = heap_[--count_];
  if (position == count_) return;
  heap_[position] = last;
  moveUp(position);
  moveDown(last.place->heapPosition - 1);
}

void Timers::arm() noexcept {
  if (count_ == 0 || heap_[0].key >= armed_) return;
  armFor(heap_[0].key);
}

/// UINT64_MAX disarms.
void Timers::armFor(std::uint64_t time) noexcept {
  armed_ = time;
  constexpr std::uint64_t second = 1'000'000'000;
  itimerspec value{};
  if (time != UINT64_MAX) {
    // All zero would disarm.
    const std::uint64_t at = std::max<std::uint64_t>(time, 1);
    value.it_value.tv_sec = static_cast<time_t>(at / second);
    value.it_value.tv_nsec = static_cast<long>(at % second);
  }
  timerfd_settime(descriptor_, TFD_TIMER_ABSTIME, &value, nullptr);
}

void Timers::takeAway(WatchTable::Place& place) noexcept {
  if (place.heapPosition != 0) removeAt(place.heapPosition - 1);
  if (disarmsWhenEmpty_ && count_ == 0 && armed_ != UINT64_MAX) armFor(UINT64_MAX);
}

void Timers::set(WatchTable::Place& place, std::uint64_t deadline) noexcept {
  const std::lock_guard lock(mutex_);
  // Whoever closes a place takes its timer away afterwards, under this lock; so no timer outlives that.
  if (!WatchTable::isOpen(place)) return;
  place.deadline = deadline;
  if (deadline == UINT64_MAX) {
    if (disarmsWhenEmpty_) takeAway(place);
    return;
  }
  if (place.heapPosition == 0) {
    append({deadline, &place});
    moveUp(count_ - 1);
  } else if (Entry& entry = heap_[place.heapPosition - 1]; deadline < entry.key) {
    entry.key = deadline;
    moveUp(place.heapPosition - 1);
  }
  arm();
}

void Timers::remove(WatchTable::Place& place) noexcept {
  const std::lock_guard lock(mutex_);
  place.deadline = UINT64_MAX;
  takeAway(place);
}

WatchTable::Place* Timers::takeDue(WatchTable& table, std::uint64_t now) noexcept {
  const std::lock_guard lock(mutex_);
  WatchTable::Place* due = nullptr;
  armed_ = UINT64_MAX;
  while (due == nullptr && count_ != 0 && heap_[0].key <= now) {
    WatchTable::Place& place = *heap_[0].place;
    if (place.deadline > now && place.deadline != UINT64_MAX) {
      heap_[0].key = place.deadline;
      moveDown(0);
      continue;
    }
    if (place.deadline <= now) due = table.pinOpen(place);
    place.deadline = UINT64_MAX;
    removeAt(0);
  }
  arm();
  return due;
}

}  // namespace vanto
