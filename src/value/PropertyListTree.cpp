// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListTree.h"

#include <algorithm>
#include <new>

#include "value/limits.h"

namespace vanto {

namespace {

constinit PlistArray emptyArray = ValueStorage::emptyArray();
constinit PlistDictionary emptyDictionary = ValueStorage::emptyDictionary();

// How much memory the values of a document are likely to take, by its size; documents with long texts take less.
std::size_t expectedBlockSize(std::size_t documentSize) noexcept {
  return std::clamp<std::size_t>(documentSize * 2, 256, std::size_t{2} << 20);
}

}  // namespace

PropertyListTree::PropertyListTree(std::size_t documentSize) noexcept
    : block_(ObjectBlock::create(expectedBlockSize(documentSize))) {}

bool PropertyListTree::open(bool isDictionary, Slot slot) noexcept {
  if (open_.size() == limits::propertyListNesting) return false;
  open_.push({slot, members_.size(), isDictionary});
  return true;
}

const char* PropertyListTree::close() noexcept {
  const OpenContainer container = open_.top();
  const std::size_t count = members_.size() - container.firstMember;
  Member* members = &members_[container.firstMember];
  Object* value = nullptr;
  if (container.isDictionary) {
    const char* duplicate = sort(members, members + count);
    if (duplicate != nullptr) return duplicate;
    value = makeDictionary(members, count);
  } else {
    value = makeArray(members, count);
  }
  open_.shrink(open_.size() - 1);
  members_.shrink(container.firstMember);
  add(container.slot, value);
  return nullptr;
}

PlistArray* PropertyListTree::makeArray(const Member* members, std::size_t count) noexcept {
  if (count == 0) return &emptyArray;
  auto** elements = static_cast<Object**>(block_.allocate(count * sizeof(Object*)));
  for (std::size_t index = 0; index < count; ++index) elements[index] = members[index].value;
  return block_.makeArray(elements, count);
}

PlistDictionary* PropertyListTree::makeDictionary(const Member* members, std::size_t count) noexcept {
  using Entry = PlistDictionary::Entry;
  if (count == 0) return &emptyDictionary;
  auto* entries = static_cast<Entry*>(block_.allocate(count * sizeof(Entry)));
  for (std::size_t index = 0; index < count; ++index) {
    ::new (entries + index) Entry{members[index].slot.key, members[index].value};
  }
  return block_.makeDictionary(entries, count);
}

// Brings members into ascending order of keys. Null, or the first place of a key that was there before.
const char* PropertyListTree::sort(Member* begin, Member* end) noexcept {
  const auto isNotAscending = [](const Member& left, const Member& right) {
    return left.slot.key->text() >= right.slot.key->text();
  };
  if (std::adjacent_find(begin, end, isNotAscending) == end) [[likely]]
    return nullptr;
  std::sort(begin, end, [](const Member& left, const Member& right) {
    const int order = left.slot.key->compare(*right.slot.key);
    return order != 0 ? order < 0 : left.slot.place < right.slot.place;
  });
  const char* duplicate = nullptr;
  for (Member* member = begin; (member = std::adjacent_find(member, end, isNotAscending)) != end;) {
    ++member;
    if (duplicate == nullptr || member->slot.place < duplicate) duplicate = member->slot.place;
  }
  return duplicate;
}

}  // namespace vanto
