// SPDX-License-Identifier: Apache-2.0
#include "value/EntryTable.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "value/Memory.h"

namespace vanto {

namespace {

using Entry = EntryTable::Entry;

/// Entries of a full group. Large enough that there are few groups, small enough that moving half of them is cheap.
constexpr std::size_t fullGroup = 128;
constexpr std::size_t firstCapacity = 4;

/// The first entry whose key is not before `key`.
const Entry* lowerBound(const Entry* begin, const Entry* end, std::string_view key) noexcept {
  return std::lower_bound(begin, end, key,
                          [](const Entry& entry, std::string_view wanted) { return entry.key->text() < wanted; });
}

void move(Entry* destination, const Entry* source, std::size_t count) noexcept {
  std::memmove(destination, source, count * sizeof(Entry));
}

}  // namespace

EntryTable* EntryTable::create() noexcept {
  return ::new (Memory::allocate(sizeof(EntryTable))) EntryTable();
}

void EntryTable::destroy(EntryTable* table) noexcept {
  for (const Group& group : std::span(table->groups_, table->groupCount_)) {
    for (const Entry& entry : std::span(group.entries, group.count)) {
      entry.key->release();
      entry.value->release();
    }
    Memory::free(group.entries);
  }
  Memory::free(table->groups_);
  Memory::free(table);
}

Object* EntryTable::find(std::string_view key) const noexcept {
  const Place found = place(key);
  return found.isFound ? groups_[found.group].entries[found.index].value : nullptr;
}

bool EntryTable::set(PlistString& key, Object& value) noexcept {
  const Place found = place(key.text());
  if (!found.isFound) {
    insert(found, key, value);
    return true;
  }
  value.retain();
  // The old value goes when the new one is in place: its end may run code of others.
  std::exchange(groups_[found.group].entries[found.index].value, &value)->release();
  return false;
}

void EntryTable::append(PlistString& key, Object& value) noexcept {
  const std::size_t last = groupCount_ == 0 ? 0 : groupCount_ - 1;
  insert({last, groupCount_ == 0 ? 0 : groups_[last].count, false}, key, value);
}

EntryTable::Place EntryTable::place(std::string_view key) const noexcept {
  if (groupCount_ == 0) return {0, 0, false};
  // The last group that does not start behind the key; the first one if all do.
  const Group* behind = std::upper_bound(
      groups_ + 1, groups_ + groupCount_, key,
      [](std::string_view wanted, const Group& group) { return wanted < group.entries[0].key->text(); });
  const Group& group = behind[-1];
  const Entry* end = group.entries + group.count;
  const Entry* found = lowerBound(group.entries, end, key);
  return {static_cast<std::size_t>(&group - groups_), static_cast<std::size_t>(found - group.entries),
          found != end && found->key->text() == key};
}

void EntryTable::insert(Place place, PlistString& key, Object& value) noexcept {
  if (groupCount_ == 0) addGroup(0, firstCapacity);
  if (groups_[place.group].count == fullGroup) {
    split(place.group);
    if (place.index > groups_[place.group].count) {
      place.index -= groups_[place.group].count;
      ++place.group;
    }
  }
  Group& group = groups_[place.group];
  if (group.count == group.capacity) {
    group.capacity *= 2;
    group.entries = static_cast<Entry*>(Memory::resize(group.entries, group.capacity * sizeof(Entry)));
  }
  Entry* position = group.entries + place.index;
  move(position + 1, position, group.count - place.index);
  key.retain();
  value.retain();
  *position = {&key, &value};
  ++group.count;
}

EntryTable::Group& EntryTable::addGroup(std::size_t position, std::size_t capacity) noexcept {
  if (groupCount_ == groupCapacity_) {
    groupCapacity_ = std::max(Memory::product(groupCapacity_, 2), std::size_t{1});
    groups_ = static_cast<Group*>(Memory::resize(groups_, Memory::product(groupCapacity_, sizeof(Group))));
  }
  Group* group = groups_ + position;
  std::memmove(group + 1, group, (groupCount_ - position) * sizeof(Group));
  ++groupCount_;
  *group = {static_cast<Entry*>(Memory::allocate(capacity * sizeof(Entry))), 0, capacity};
  return *group;
}

void EntryTable::split(std::size_t group) noexcept {
  Group& upper = addGroup(group + 1, fullGroup);
  Group& lower = groups_[group];
  // Keys that come in ascending order would leave every group half full, so a group at the end keeps what it has.
  const std::size_t kept = group + 2 == groupCount_ ? fullGroup - 1 : fullGroup / 2;
  upper.count = fullGroup - kept;
  lower.count = kept;
  move(upper.entries, lower.entries + kept, upper.count);
}

}  // namespace vanto
