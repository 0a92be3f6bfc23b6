// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include <VantoService/PlistDictionary.h>

namespace vanto {

/// The entries of a mutable dictionary in ascending order of their keys. They lie in groups of bounded size, so that
/// inserting moves few of them, whatever the order in which keys come; a small table is a single group that fits its
/// contents. The table owns one reference to each key and value.
class EntryTable {
 public:
  using Entry = PlistDictionary::Entry;

  [[nodiscard]] static EntryTable* create() noexcept;
  /// Releases all keys and values and frees the table.
  static void destroy(EntryTable* table) noexcept;

  [[nodiscard]] std::size_t groupCount() const noexcept { return groupCount_; }
  [[nodiscard]] std::size_t entryCount(std::size_t group) const noexcept { return groups_[group].count; }
  [[nodiscard]] const Entry& entry(std::size_t group, std::size_t index) const noexcept {
    return groups_[group].entries[index];
  }

  /// The value under `key`, or null.
  [[nodiscard]] Object* find(std::string_view key) const noexcept;

  /// Puts `value` under `key`, which must not change later. True when there was no such key yet.
  bool set(PlistString& key, Object& value) noexcept;

  /// Adds an entry whose key comes after all others.
  void append(PlistString& key, Object& value) noexcept;

 private:
  /// A few entries in ascending order, at least one.
  struct Group {
    Entry* entries;
    std::size_t count;
    /// Number of entries that there is room for.
    std::size_t capacity;
  };

  /// Where a key is or belongs.
  struct Place {
    std::size_t group;
    std::size_t index;
    bool isFound;
  };

  EntryTable() noexcept = default;

  [[nodiscard]] Place place(std::string_view key) const noexcept;
  void insert(Place place, PlistString& key, Object& value) noexcept;
  /// Makes a new group at `position` with room for `capacity` entries and none in it.
  Group& addGroup(std::size_t position, std::size_t capacity) noexcept;
  /// Moves the second half of a full group to a new group behind it.
  void split(std::size_t group) noexcept;

  Group* groups_ = nullptr;
  std::size_t groupCount_ = 0;
  std::size_t groupCapacity_ = 0;
};

}  // namespace vanto
