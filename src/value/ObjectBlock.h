// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "value/ValueStorage.h"

namespace vanto {

/// Memory that the values of one document share. The block counts the references to all of them together, and when the
/// last one goes it frees everything at once without looking at the values: a value in a block points only into its
/// block or at immortal objects, never at an object that it would have to release. Making values is for one thread;
/// once the document is handed out, any thread may retain and release.
class ObjectBlock {
 public:
  /// Memory behind the end of every allocation that may be written and means nothing, so that text can be copied in
  /// whole steps.
  static constexpr std::size_t slack = 16;
  /// Bytes that createData() needs in front of the data.
  static constexpr std::size_t dataHeadroom = 104;

  /// An empty block with one reference, owned by the caller, and room for about `bytes` bytes before it must ask for
  /// more memory.
  [[nodiscard]] static ObjectBlock& create(std::size_t bytes) noexcept;

  /// A data value that is alone in a block of its own: `memory` from Memory, which the block takes over, holds
  /// dataHeadroom unused bytes and then `length` bytes of data. One reference, owned by the caller.
  [[nodiscard]] static PlistData& createData(void* memory, std::size_t length) noexcept;

  /// The block of `object`, which must have been made in one.
  [[nodiscard]] static ObjectBlock& of(const Object& object) noexcept {
    const auto* place = reinterpret_cast<const std::byte*>(&object);
    const std::size_t distance = object.counting_.count.load(std::memory_order_relaxed);
    return *reinterpret_cast<const Chunk*>(place - distance * alignof(Object))->block;
  }

  ObjectBlock(const ObjectBlock&) = delete;
  ObjectBlock& operator=(const ObjectBlock&) = delete;

  void retain() noexcept {
    // Relaxed: whoever retains already holds a reference to a value of the block.
    references_.fetch_add(1, std::memory_order_relaxed);
  }
  void release() noexcept {
    // Release, so that each owner's reads come before the memory is freed; the last owner acquires them all.
    if (references_.fetch_sub(1, std::memory_order_release) == 1) destroy();
  }
  /// References to any value of the block.
  [[nodiscard]] std::size_t referenceCount() const noexcept { return references_.load(std::memory_order_relaxed); }

  /// `size` bytes, aligned for any value; ends the process when there is no memory.
  [[nodiscard]] void* allocate(std::size_t size) noexcept {
    const std::size_t rounded = roundUp(size);
    if (rounded > room()) [[unlikely]]
      return allocateElsewhere(rounded);
    return std::exchange(cursor_, cursor_ + rounded);
  }

  /// A string of `length` bytes of text, which the caller writes to `text` before anyone reads them, and the NUL behind
  /// them too.
  [[nodiscard]] PlistString* makeString(std::size_t length, char*& text) noexcept {
    void* contents;
    void* place = placeBefore(sizeof(PlistString), length + 1, contents);
    text = static_cast<char*>(contents);
    return ValueStorage::stringInBlock(place, distance(place), text, length);
  }

  /// A string over text that was allocated in this block: valid UTF-8 with a NUL behind it.
  [[nodiscard]] PlistString* makeString(std::string_view text) noexcept {
    void* memory = place(sizeof(PlistString));
    return ValueStorage::stringInBlock(memory, distance(memory), text.data(), text.size());
  }

  /// A data value whose `length` bytes the caller writes to `bytes` before anyone reads them.
  [[nodiscard]] PlistData* makeData(std::size_t length, std::uint8_t*& bytes) noexcept {
    void* contents;
    void* place = placeBefore(sizeof(PlistData), length, contents);
    bytes = static_cast<std::uint8_t*>(contents);
    return ValueStorage::dataInBlock(place, distance(place), bytes, length);
  }

  /// A number, of an integer or a real.
  template <typename Value>
  [[nodiscard]] PlistNumber* makeNumber(Value value) noexcept {
    void* memory = place(sizeof(PlistNumber));
    return ValueStorage::numberInBlock(memory, distance(memory), value);
  }

  /// The same of a subtype, which is one of integers or of reals like the value.
  template <typename Value>
  [[nodiscard]] PlistNumber* makeNumber(Value value, KorNumberType subtype) noexcept {
    void* memory = place(sizeof(PlistNumber));
    return ValueStorage::numberInBlock(memory, distance(memory), value, subtype);
  }

  [[nodiscard]] PlistDate* makeDate(double secondsSince1970) noexcept {
    void* memory = place(sizeof(PlistDate));
    return ValueStorage::dateInBlock(memory, distance(memory), secondsSince1970);
  }

  /// An array of elements that were allocated in this block, and are themselves in it or immortal.
  [[nodiscard]] PlistArray* makeArray(Object** elements, std::size_t count) noexcept {
    void* memory = place(sizeof(PlistArray));
    return ValueStorage::arrayInBlock(memory, distance(memory), elements, count);
  }

  /// The same for a dictionary; the keys ascend, each once.
  [[nodiscard]] PlistDictionary* makeDictionary(const PlistDictionary::Entry* entries, std::size_t count) noexcept {
    void* memory = place(sizeof(PlistDictionary));
    return ValueStorage::dictionaryInBlock(memory, distance(memory), entries, count);
  }

 private:
  /// Head of each piece of memory that a block is made of.
  struct Chunk {
    ObjectBlock* block;
    /// The chunk that was added before this one.
    Chunk* previous;
    /// Size of a chunk that is a mapping of its own; 0 for one from Memory.
    std::size_t mappedBytes;
  };

  ObjectBlock(Chunk* chunk, std::size_t used, std::size_t size) noexcept
      : current_(chunk),
        latest_(chunk),
        cursor_(reinterpret_cast<std::byte*>(chunk) + used),
        limit_(reinterpret_cast<std::byte*>(chunk) + size),
        nextChunk_(std::bit_ceil(size)) {}

  /// Memory for a value, in the current chunk.
  [[nodiscard]] void* place(std::size_t size) noexcept {
    if (size > room()) [[unlikely]]
      startChunk(size);
    return std::exchange(cursor_, cursor_ + size);
  }

  /// The same, with memory for the value's contents behind it or, when they are large, elsewhere.
  [[nodiscard]] void* placeBefore(std::size_t valueSize, std::size_t contentSize, void*& contents) noexcept {
    const std::size_t rounded = roundUp(contentSize);
    if (valueSize + rounded > room()) [[unlikely]]
      return placeElsewhere(valueSize, rounded, contents);
    contents = cursor_ + valueSize;
    return std::exchange(cursor_, cursor_ + valueSize + rounded);
  }

  /// The way from a value in the current chunk back to the chunk.
  [[nodiscard]] std::uint32_t distance(const void* value) const noexcept {
    const auto bytes = static_cast<const std::byte*>(value) - reinterpret_cast<const std::byte*>(current_);
    return static_cast<std::uint32_t>(static_cast<std::size_t>(bytes) / alignof(Object));
  }

  [[nodiscard]] static constexpr std::size_t roundUp(std::size_t size) noexcept {
    return (size + alignof(Object) - 1) & ~(alignof(Object) - 1);
  }
  [[nodiscard]] std::size_t room() const noexcept { return static_cast<std::size_t>(limit_ - cursor_); }

  /// Allocates where the current chunk has no room: in a new one, or, if `size` is large, in a chunk of its own.
  [[nodiscard]] void* allocateElsewhere(std::size_t size) noexcept;
  /// placeBefore() where the current chunk has no room.
  [[nodiscard]] void* placeElsewhere(std::size_t valueSize, std::size_t contentSize, void*& contents) noexcept;
  /// Goes on in a new chunk with room for at least `size` bytes.
  void startChunk(std::size_t size) noexcept;
  /// A chunk of `bytes` bytes in all, that belongs to no block yet.
  [[nodiscard]] static Chunk* makeChunk(std::size_t bytes) noexcept;
  [[nodiscard]] Chunk* addChunk(std::size_t bytes) noexcept;
  void destroy() noexcept;

  std::atomic<std::size_t> references_{1};
  /// The chunk that values are made in.
  Chunk* current_;
  /// The chunk that was added last; the others follow by their links.
  Chunk* latest_;
  /// Free memory of the current chunk.
  std::byte* cursor_;
  std::byte* limit_;
  /// Size of the next chunk.
  std::size_t nextChunk_;
};

}  // namespace vanto
