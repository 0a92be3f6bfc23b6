// SPDX-License-Identifier: Apache-2.0
#include "value/ObjectBlock.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>

#include "value/LiveObjects.h"
#include "value/Memory.h"

namespace vanto {

namespace {

// Chunks grow up to this size, that of a large page.
constexpr std::size_t largestChunk = std::size_t{2} << 20;
// What is at least this big gets a chunk of its own, so that the rest of the current one is not lost.
constexpr std::size_t ownChunk = std::size_t{8} << 10;

// Memory for a large chunk, in large pages where the system has them: making the values costs little more than having
// the system fill so much fresh memory page by page. Null where it cannot be had so.
void* map(std::size_t bytes) noexcept {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  static_cast<void>(madvise(memory, bytes, MADV_HUGEPAGE));
  return memory;
}

void freeChunk(void* memory, std::size_t mappedBytes) noexcept {
  if (mappedBytes == 0) return Memory::free(memory);
  static_cast<void>(munmap(memory, mappedBytes));
}

}  // namespace

ObjectBlock& ObjectBlock::create(std::size_t bytes) noexcept {
  const std::size_t head = sizeof(Chunk) + sizeof(ObjectBlock);
  const std::size_t wanted = head + roundUp(bytes) + slack;
  const std::size_t size = wanted > largestChunk / 2 ? largestChunk : wanted;
  Chunk* chunk = makeChunk(size);
  countLiveObject(1);
  chunk->block = ::new (static_cast<void*>(chunk + 1)) ObjectBlock(chunk, head, size - slack);
  return *chunk->block;
}

PlistData& ObjectBlock::createData(void* memory, std::size_t length) noexcept {
  static_assert(sizeof(Chunk) + sizeof(ObjectBlock) + sizeof(PlistData) == dataHeadroom);
  const std::size_t head = dataHeadroom - sizeof(PlistData);
  countLiveObject(1);
  auto* chunk = ::new (memory) Chunk{nullptr, nullptr, 0};
  chunk->block = ::new (static_cast<void*>(chunk + 1)) ObjectBlock(chunk, head, dataHeadroom);
  void* value = chunk->block->place(sizeof(PlistData));
  const auto* bytes = static_cast<const std::uint8_t*>(memory) + dataHeadroom;
  return *ValueStorage::dataInBlock(value, chunk->block->distance(value), bytes, length);
}

void* ObjectBlock::allocateElsewhere(std::size_t size) noexcept {
  if (size >= ownChunk) return addChunk(sizeof(Chunk) + size + slack) + 1;
  startChunk(size);
  return std::exchange(cursor_, cursor_ + size);
}

void* ObjectBlock::placeElsewhere(std::size_t valueSize, std::size_t contentSize, void*& contents) noexcept {
  if (contentSize >= ownChunk) {
    contents = allocateElsewhere(contentSize);
    return place(valueSize);
  }
  // The contents come last even here: what is copied into them may spill over their end.
  startChunk(valueSize + contentSize);
  return placeBefore(valueSize, contentSize, contents);
}

void ObjectBlock::startChunk(std::size_t size) noexcept {
  const std::size_t bytes = std::max(nextChunk_, sizeof(Chunk) + size + slack);
  nextChunk_ = std::min(2 * nextChunk_, largestChunk);
  current_ = addChunk(bytes);
  cursor_ = reinterpret_cast<std::byte*>(current_ + 1);
  limit_ = reinterpret_cast<std::byte*>(current_) + bytes - slack;
}

ObjectBlock::Chunk* ObjectBlock::makeChunk(std::size_t bytes) noexcept {
  void* mapping = bytes >= largestChunk ? map(bytes) : nullptr;
  void* memory = mapping != nullptr ? mapping : Memory::allocate(bytes);
  return ::new (memory) Chunk{nullptr, nullptr, mapping != nullptr ? bytes : 0};
}

ObjectBlock::Chunk* ObjectBlock::addChunk(std::size_t bytes) noexcept {
  Chunk* chunk = makeChunk(bytes);
  chunk->block = this;
  chunk->previous = std::exchange(latest_, chunk);
  return chunk;
}

void ObjectBlock::destroy() noexcept {
  countLiveObject(-1);
  // A load instead of a fence: thread checkers understand it, and it costs the same.
  static_cast<void>(references_.load(std::memory_order_acquire));
  // The block lies in its first chunk, the last one in the list, so nothing of it is read once that is freed.
  for (Chunk* chunk = latest_; chunk != nullptr;) {
    const std::size_t mappedBytes = chunk->mappedBytes;
    freeChunk(std::exchange(chunk, chunk->previous), mappedBytes);
  }
}

}  // namespace vanto
