// SPDX-License-Identifier: Apache-2.0
#include "ipc/DictionaryObject.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <type_traits>

#include "value/Assertion.h"
#include "value/EndingObjects.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

static_assert(std::is_trivially_copyable_v<DictionaryObject::Entry>, "entries are moved as plain memory");

/// Named, so that it can be let in to the dictionary.
struct DictionaryObjectEnd {
  static void destroy(Object& self) noexcept {
    if (EndingObjects::postponed(self)) return;
    const EndingObjects ending;
    auto& dictionary = static_cast<DictionaryObject&>(self);
    dictionary.freeEverything();
    DictionaryObject::deallocate(&dictionary);
  }
};

constinit const Class dictionaryObjectClass{
    "DictionaryObject", &ipcObjectClass, NoKind, &DictionaryObjectEnd::destroy, nullptr, nullptr};

namespace {

/// Up to this many entries are looked through one after the other.
constexpr std::uint32_t fewEntries = 8;

}  // namespace

DictionaryObject::DictionaryObject(std::uint32_t capacity) noexcept
    : vanto_object(dictionaryObjectClass, objectKind), only_(nullptr), hasOwnChunk_(capacity != 0) {
  if (!hasOwnChunk_) return;
  only_ = new (ownChunk()) Chunk{0, capacity};
  chunkCount_ = 1;
}

Ref<DictionaryObject> DictionaryObject::create(std::size_t capacity) noexcept {
  const auto own = static_cast<std::uint32_t>(std::min<std::size_t>(capacity, chunkEntries));
  void* memory = allocate(sizeof(DictionaryObject), own == 0 ? 0 : sizeof(Chunk) + own * sizeof(Entry));
  return Ref<DictionaryObject>::adopt(new (memory) DictionaryObject(own));
}

DictionaryObject::Chunk* DictionaryObject::createChunk(std::uint32_t capacity) noexcept {
  return new (Memory::allocate(sizeof(Chunk) + capacity * sizeof(Entry))) Chunk{0, capacity};
}

void DictionaryObject::freeChunk(Chunk* chunk) noexcept {
  if (!hasOwnChunk_ || chunk != ownChunk()) Memory::free(chunk);
}

void DictionaryObject::freeEverything() noexcept {
  for (std::uint32_t position = 0; position < chunkCount_; ++position) {
    Chunk* chunk = chunks()[position];
    for (std::uint32_t index = 0; index < chunk->count; ++index) {
      const Entry& entry = chunk->entries()[index];
      entry.key.release();
      entry.value->release();
    }
    freeChunk(chunk);
  }
  if (chunkCount_ > 1) Memory::free(list_);
}

vanto_object* DictionaryObject::valueForKey(std::string_view text) const noexcept {
  if (count_ == 0) return nullptr;
  const KeyText key(text);
  if (count_ <= fewEntries && chunkCount_ == 1 && key.isShort()) {
    for (std::uint32_t index = 0; index < count_; ++index) {
      const Entry& entry = only_->entries()[index];
      if (entry.key.isEqualToShort(key)) return entry.value;
    }
    return nullptr;
  }
  const Place place = placeOf(key);
  return place.isFound ? chunks()[place.chunk]->entries()[place.index].value : nullptr;
}

void DictionaryObject::set(std::string_view text, Ref<vanto_object> value) noexcept {
  VANTO_ASSERT(value.get() != this && value->isValue());
  const KeyText key(text);
  const Place place = placeOf(key);
  if (!place.isFound) return insert(place, key, std::move(value));
  Entry& entry = chunks()[place.chunk]->entries()[place.index];
  const auto previous = Ref<vanto_object>::adopt(std::exchange(entry.value, value.leak()));
}

bool DictionaryObject::append(std::string_view text, Ref<vanto_object> value) noexcept {
  const KeyText key(text);
  Place end{0, 0, false};
  if (count_ != 0) {
    const Chunk* last = chunks()[chunkCount_ - 1];
    if (!last->entries()[last->count - 1].key.isBefore(key)) return false;
    end = {chunkCount_ - 1, last->count, false};
  }
  insert(end, key, std::move(value));
  return true;
}

DictionaryObject::Place DictionaryObject::placeOf(const KeyText& key) const noexcept {
  if (count_ == 0) return {0, 0, false};
  // No chunk of a dictionary with entries is empty; what is behind all of them belongs into the last.
  Chunk* const* first = chunks();
  Chunk* const* found =
      std::lower_bound(first, first + chunkCount_ - 1, key, [](const Chunk* chunk, const KeyText& wanted) {
        return chunk->entries()[chunk->count - 1].key.isBefore(wanted);
      });
  const Entry* entries = (*found)->entries();
  const Entry* end = entries + (*found)->count;
  const Entry* entry = std::lower_bound(
      entries, end, key, [](const Entry& one, const KeyText& wanted) { return one.key.isBefore(wanted); });
  return {static_cast<std::uint32_t>(found - first), static_cast<std::uint32_t>(entry - entries),
          entry != end && entry->key.isEqual(key)};
}

void DictionaryObject::insert(Place place, const KeyText& key, Ref<vanto_object> value) noexcept {
  VANTO_ASSERT(count_ < UINT32_MAX);
  makeRoom(place);
  Chunk* chunk = chunks()[place.chunk];
  Entry* entry = chunk->entries() + place.index;
  const std::uint32_t behind = chunk->count - place.index;
  if (behind != 0) std::memmove(static_cast<void*>(entry + 1), entry, behind * sizeof(Entry));
  new (entry) Entry{DictionaryKey(key), value.leak()};
  ++chunk->count;
  ++count_;
}

void DictionaryObject::makeRoom(Place& place) noexcept {
  if (chunkCount_ == 0) return insertChunk(0, createChunk(4));
  const Chunk* chunk = chunks()[place.chunk];
  if (chunk->count < chunk->capacity) return;
  if (chunk->capacity < chunkEntries) return growChunk(place.chunk);
  if (place.chunk == chunkCount_ - 1 && place.index == chunk->count) {
    // Ascending keys fill each chunk; halving would leave them half empty.
    insertChunk(chunkCount_, createChunk(chunkEntries));
    place = {chunkCount_ - 1, 0, false};
  } else {
    splitChunk(place);
  }
}

void DictionaryObject::growChunk(std::uint32_t position) noexcept {
  Chunk* chunk = chunks()[position];
  Chunk* grown = createChunk(std::min(std::max<std::uint32_t>(4, chunk->capacity * 2), chunkEntries));
  std::memcpy(static_cast<void*>(grown->entries()), chunk->entries(), chunk->count * sizeof(Entry));
  grown->count = chunk->count;
  chunks()[position] = grown;
  freeChunk(chunk);
}

void DictionaryObject::splitChunk(Place& place) noexcept {
  Chunk* chunk = chunks()[place.chunk];
  Chunk* upper = createChunk(chunkEntries);
  const std::uint32_t kept = chunk->count / 2;
  upper->count = chunk->count - kept;
  std::memcpy(static_cast<void*>(upper->entries()), chunk->entries() + kept, upper->count * sizeof(Entry));
  chunk->count = kept;
  insertChunk(place.chunk + 1, upper);
  if (place.index > kept) place = {place.chunk + 1, place.index - kept, false};
}

void DictionaryObject::insertChunk(std::uint32_t position, Chunk* chunk) noexcept {
  if (chunkCount_ == 0) {
    only_ = chunk;
  } else if (chunkCount_ == 1) {
    auto** list = static_cast<Chunk**>(Memory::allocate(2 * sizeof(Chunk*)));
    list[1 - position] = only_;
    list[position] = chunk;
    list_ = list;
  } else {
    if (std::has_single_bit(chunkCount_)) {
      list_ = static_cast<Chunk**>(Memory::resize(list_, 2 * chunkCount_ * sizeof(Chunk*)));
    }
    std::memmove(list_ + position + 1, list_ + position, (chunkCount_ - position) * sizeof(Chunk*));
    list_[position] = chunk;
  }
  ++chunkCount_;
}

const DictionaryObject::Entry* DictionaryObject::Cursor::next() noexcept {
  if (chunk_ >= dictionary_.chunkCount_) return nullptr;
  const Chunk* chunk = dictionary_.chunks()[chunk_];
  if (index_ == chunk->count) {
    index_ = 0;
    if (++chunk_ >= dictionary_.chunkCount_) return nullptr;
    chunk = dictionary_.chunks()[chunk_];
  }
  return chunk->entries() + index_++;
}

}  // namespace vanto
