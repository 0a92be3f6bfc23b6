// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ipc/DictionaryKey.h"
#include "ipc/IPCObject.h"

namespace vanto {

/// Values under keys, in ascending byte order of the keys. Not for several threads while it changes.
///
/// The entries lie sorted in chunks of bounded size: one chunk, for the most part in the object's own allocation, in
/// the usual small dictionary; in a large one a sorted list of chunks. So every order of insertion costs about the
/// same, and no choice of keys is worse than another.
class DictionaryObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_DICTIONARY;
  /// Entries of a full chunk.
  static constexpr std::uint32_t chunkEntries = 128;

  struct Entry {
    DictionaryKey key;
    vanto_object* value;
  };

  /// An empty dictionary that is to get about `capacity` entries.
  [[nodiscard]] static Ref<DictionaryObject> create(std::size_t capacity) noexcept;

  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  /// The value under the key `text`, or null. Borrowed.
  [[nodiscard]] vanto_object* valueForKey(std::string_view text) const noexcept;

  /// Sets `value` under the key `text`, in place of any value there. The key is valid text without NUL; the value is
  /// neither this dictionary nor, like a connection, no value.
  void set(std::string_view text, Ref<vanto_object> value) noexcept;

  /// The same for a key behind all others. False, with nothing done, for any other key.
  [[nodiscard]] bool append(std::string_view text, Ref<vanto_object> value) noexcept;

  /// Walks the entries in ascending order of keys. The dictionary must not change meanwhile.
  class Cursor {
   public:
    explicit Cursor(const DictionaryObject& dictionary) noexcept : dictionary_(dictionary) {}
    /// The next entry, the first at the first call; null at the end.
    [[nodiscard]] const Entry* next() noexcept;

   private:
    const DictionaryObject& dictionary_;
    std::uint32_t chunk_ = 0;
    std::uint32_t index_ = 0;
  };

 private:
  friend struct DictionaryObjectEnd;

  struct Chunk {
    std::uint32_t count;
    std::uint32_t capacity;

    [[nodiscard]] Entry* entries() noexcept { return reinterpret_cast<Entry*>(this + 1); }
    [[nodiscard]] const Entry* entries() const noexcept { return reinterpret_cast<const Entry*>(this + 1); }
  };

  /// Where a key is, or where it would have to be inserted.
  struct Place {
    std::uint32_t chunk;
    std::uint32_t index;
    bool isFound;
  };

  explicit DictionaryObject(std::uint32_t capacity) noexcept;

  [[nodiscard]] static Chunk* createChunk(std::uint32_t capacity) noexcept;
  void freeChunk(Chunk* chunk) noexcept;
  void freeEverything() noexcept;

  [[nodiscard]] Chunk* ownChunk() noexcept { return reinterpret_cast<Chunk*>(this + 1); }
  [[nodiscard]] Chunk** chunks() noexcept { return chunkCount_ <= 1 ? &only_ : list_; }
  [[nodiscard]] Chunk* const* chunks() const noexcept { return chunkCount_ <= 1 ? &only_ : list_; }
  [[nodiscard]] Place placeOf(const KeyText& key) const noexcept;
  /// Makes room for one entry at `place`, which may move with that.
  void makeRoom(Place& place) noexcept;
  void growChunk(std::uint32_t chunk) noexcept;
  void splitChunk(Place& place) noexcept;
  void insertChunk(std::uint32_t position, Chunk* chunk) noexcept;
  void insert(Place place, const KeyText& key, Ref<vanto_object> value) noexcept;

  std::uint32_t chunkCount_ = 0;
  union {
    /// Of at most one chunk.
    Chunk* only_;
    /// Of more than one, in order; its capacity is the next power of two.
    Chunk** list_;
  };
  std::uint32_t count_ = 0;
  /// Whether the first chunk was made behind the object itself.
  const bool hasOwnChunk_;
};

}  // namespace vanto
