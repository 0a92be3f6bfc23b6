// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include <VantoService/PlistValue.h>
#include <VantoService/Ref.h>

#include "value/ObjectBlock.h"
#include "value/PropertyListKeys.h"
#include "value/PropertyListScan.h"
#include "value/WorkStack.h"

namespace vanto {

/// The values of a document while it is being read. What has been read of the open containers lies on two stacks: one
/// has a record for each open container, outermost first, the other the members that these have so far. When a
/// container closes, its members move into the block, behind those of its children, and the container itself becomes a
/// member of the next one.
class PropertyListTree {
 public:
  /// Where a value goes: under a key, or behind the others of an array.
  struct Slot {
    /// Null in an array.
    PlistString* key;
    /// Where the key or the value stands in the text.
    const char* place;
  };

  /// An empty tree for a document of `documentSize` bytes.
  explicit PropertyListTree(std::size_t documentSize) noexcept;
  PropertyListTree(const PropertyListTree&) = delete;
  PropertyListTree& operator=(const PropertyListTree&) = delete;
  ~PropertyListTree() { block_.release(); }

  /// Where the values that add() takes are made.
  [[nodiscard]] ObjectBlock& block() noexcept { return block_; }

  /// A string of `text`, behind which memory can be read up to `readableEnd`.
  [[nodiscard]] PlistString* makeString(std::string_view text, const char* readableEnd) noexcept {
    char* copy = nullptr;
    PlistString* string = block_.makeString(text.size(), copy);
    scan::copyText(copy, text.data(), text.size(), readableEnd);
    copy[text.size()] = '\0';
    return string;
  }

  /// The same, or a string of the same text that was made before. At least 8 bytes can be read.
  [[nodiscard]] PlistString* makeKey(std::string_view text, const char* readableEnd) noexcept {
    PlistString*& known = keys_.placeOf(text);
    if (!PropertyListKeys::matches(known, text)) known = makeString(text, readableEnd);
    return known;
  }

  /// Adds a value to the innermost open container, or as the root.
  void add(Slot slot, Object* value) noexcept { members_.push({slot, value}); }

  /// Opens a container that will go to `slot`. False when too many are open.
  [[nodiscard]] bool open(bool isDictionary, Slot slot) noexcept;
  /// Closes the innermost container. Null, or, when that is a dictionary with a key twice, the first place of a second
  /// one.
  [[nodiscard]] const char* close() noexcept;

  /// True when a container is open, and when the innermost is a dictionary.
  [[nodiscard]] bool isOpen() const noexcept { return !open_.isEmpty(); }
  [[nodiscard]] bool isInDictionary() noexcept { return open_.top().isDictionary; }

  /// The value that was added last, once all containers are closed.
  [[nodiscard]] Ref<PlistValue> root() noexcept { return Ref<PlistValue>::share(as<PlistValue>(members_.top().value)); }

 private:
  struct Member {
    Slot slot;
    Object* value;
  };

  struct OpenContainer {
    Slot slot;
    /// Number of members that there were when it was opened.
    std::size_t firstMember;
    bool isDictionary;
  };

  [[nodiscard]] PlistArray* makeArray(const Member* members, std::size_t count) noexcept;
  [[nodiscard]] PlistDictionary* makeDictionary(const Member* members, std::size_t count) noexcept;
  [[nodiscard]] static const char* sort(Member* begin, Member* end) noexcept;

  /// One reference to it is ours.
  ObjectBlock& block_;
  WorkStack<OpenContainer, 16> open_;
  WorkStack<Member, 64> members_;
  PropertyListKeys keys_;
};

}  // namespace vanto
