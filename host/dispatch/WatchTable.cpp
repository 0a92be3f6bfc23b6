// SPDX-License-Identifier: Apache-2.0
#include "dispatch/WatchTable.h"

#include <bit>
#include <memory>

#include "value/Assertion.h"

namespace vanto {

namespace {

constexpr std::uint64_t oneGeneration = std::uint64_t{1} << 32;

std::uint32_t generationOf(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word >> 32);
}
std::uint32_t pinsOf(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word);
}
bool hasTenant(std::uint64_t state) noexcept {
  return (generationOf(state) & 1) != 0;
}

}  // namespace

WatchTable::Place& WatchTable::at(std::uint32_t index) const noexcept {
  // Block n begins at place (2^n - 1) * firstBlockPlaces.
  const std::uint32_t shifted = index + firstBlockPlaces;
  const auto block = static_cast<std::uint32_t>(std::bit_width(shifted / firstBlockPlaces)) - 1;
  return blocks_[block].load(std::memory_order_acquire)[shifted - (firstBlockPlaces << block)];
}

void WatchTable::addBlock() noexcept {
  VANTO_ASSERT(blockCount_ < maximumBlocks);
  const std::uint32_t count = firstBlockPlaces << blockCount_;
  Place* const block = std::allocator<Place>().allocate(count);
  for (std::uint32_t i = count; i-- > 0;) {
    Place* const place = std::construct_at(block + i);
    place->index = count - firstBlockPlaces + i;
    place->nextFree = firstFree_;
    firstFree_ = place;
  }
  blocks_[blockCount_++].store(block, std::memory_order_release);
}

WatchTable::Place& WatchTable::takeFree() noexcept {
  const std::lock_guard lock(mutex_);
  if (firstFree_ == nullptr) addBlock();
  Place& place = *firstFree_;
  firstFree_ = place.nextFree;
  return place;
}

std::uint64_t WatchTable::add(Watched& watched) noexcept {
  VANTO_ASSERT(nameOf(watched) == 0);
  Place& place = takeFree();
  watched.retain();
  place.object = &watched;
  // Release, so that whoever pins the place sees its object.
  const std::uint64_t state = place.state.fetch_add(oneGeneration, std::memory_order_release) + oneGeneration;
  const std::uint64_t name = (std::uint64_t{generationOf(state)} << 32) | place.index;
  watched.watch_.store(name, std::memory_order_release);
  return name;
}

WatchTable::Place* WatchTable::pin(std::uint64_t name) noexcept {
  Place& place = at(static_cast<std::uint32_t>(name));
  std::uint64_t state = place.state.load(std::memory_order_relaxed);
  do {
    if (generationOf(state) != generationOf(name)) return nullptr;
  } while (!place.state.compare_exchange_weak(state, state + 1, std::memory_order_acquire, std::memory_order_relaxed));
  return &place;
}

WatchTable::Place* WatchTable::pinOpen(Place& place) noexcept {
  std::uint64_t state = place.state.load(std::memory_order_relaxed);
  do {
    if (!hasTenant(state)) return nullptr;
  } while (!place.state.compare_exchange_weak(state, state + 1, std::memory_order_acquire, std::memory_order_relaxed));
  return &place;
}

void WatchTable::unpin(Place& place) noexcept {
  // Both orders: the last one out must see what the others did while they held the place.
  const std::uint64_t before = place.state.fetch_sub(1, std::memory_order_acq_rel);
  if (pinsOf(before) == 1 && !hasTenant(before)) vacate(place);
}

bool WatchTable::close(Place& place, std::uint64_t name) noexcept {
  std::uint64_t state = place.state.load(std::memory_order_relaxed);
  do {
    if (generationOf(state) != generationOf(name)) return false;
  } while (!place.state.compare_exchange_weak(state, state + oneGeneration, std::memory_order_acq_rel,
                                              std::memory_order_relaxed));
  place.object->watch_.store(0, std::memory_order_release);
  return true;
}

bool WatchTable::isOpen(const Place& place) noexcept {
  return hasTenant(place.state.load(std::memory_order_acquire));
}

void WatchTable::vacate(Place& place) noexcept {
  Watched* const object = place.object;
  place.object = nullptr;
  {
    const std::lock_guard lock(mutex_);
    place.nextFree = firstFree_;
    firstFree_ = &place;
  }
  object->release();
}

}  // namespace vanto
