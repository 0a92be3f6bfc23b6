// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListSequence.h"

#include <algorithm>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDictionary.h>

#include "value/PropertyListProblems.h"
#include "value/ValueStorage.h"
#include "value/limits.h"

namespace vanto {

const char* PropertyListSequence::take(const Object& root) {
  waiting_.push({&root, 0, false});
  while (!waiting_.isEmpty()) {
    if (const char* problem = takeNext(); problem != nullptr) return problem;
    // A tree in which containers share members can be far larger than the memory it takes.
    if (leastBytes_ > limits::propertyListFileBytes) return problems::tooLarge;
  }
  takeStrings();
  return leastBytes_ > limits::propertyListFileBytes ? problems::tooLarge : nullptr;
}

const char* PropertyListSequence::takeNext() {
  const Waiting next = waiting_.top();
  waiting_.shrink(waiting_.size() - 1);
  if (next.object == nullptr) return problems::hole;
  Item item{next.object, 0, next.isKey};
  ++leastBytes_;
  switch (next.object->runtimeClass().typeID) {
    case StringKind:
      item.string = strings_.add(*static_cast<const PlistString*>(next.object));
      break;
    case DataKind:
      addCount(static_cast<const PlistData*>(next.object)->length());
      leastBytes_ += static_cast<const PlistData*>(next.object)->length();
      break;
    case ArrayKind:
      if (next.depth == limits::propertyListNesting) return problems::tooDeep;
      waitForMembers(*static_cast<const PlistArray*>(next.object), next.depth + 1);
      break;
    case DictionaryKind:
      if (next.depth == limits::propertyListNesting) return problems::tooDeep;
      waitForMembers(*static_cast<const PlistDictionary*>(next.object), next.depth + 1);
      break;
    case NumberKind:
    case BooleanKind:
    case DateKind:
      break;
    default:
      return problems::noValue;
  }
  items_.push_back(item);
  return nullptr;
}

void PropertyListSequence::waitForMembers(const PlistArray& array, std::uint32_t depth) {
  addCount(array.count());
  const std::size_t first = waiting_.size();
  for (const Object* element : array.elements()) waiting_.push({element, depth, false});
  reverse(first);
}

// A dictionary walks in ascending order of keys, mutable or not.
void PropertyListSequence::waitForMembers(const PlistDictionary& dictionary, std::uint32_t depth) {
  addCount(dictionary.count());
  const std::size_t first = waiting_.size();
  PlistDictionary::Cursor cursor(dictionary);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    waiting_.push({entry.key, depth, true});
    waiting_.push({entry.value, depth, false});
  }
  reverse(first);
}

// Brings what was pushed since `first` into the order in which it is to be taken in.
void PropertyListSequence::reverse(std::size_t first) noexcept {
  if (first != waiting_.size()) std::reverse(&waiting_[first], &waiting_.top() + 1);
}

// Counts too large for any document do not matter: leastBytes_ then is too large as well.
void PropertyListSequence::addCount(std::size_t count) noexcept {
  bitsOfCounts_ |= static_cast<std::uint32_t>(count);
}

void PropertyListSequence::takeStrings() noexcept {
  strings_.arrange();
  const std::size_t count = strings_.texts().size();
  addCount(count);
  // The largest index; the other bits do not matter.
  if (count != 0) addCount(count - 1);
  for (const PlistString* text : strings_.texts()) {
    addCount(text->length());
    leastBytes_ += text->length() + 1;
  }
}

}  // namespace vanto
