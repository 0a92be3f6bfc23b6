// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <VantoService/Object.h>

#include "value/PropertyListStringOrder.h"
#include "value/WorkStack.h"

class PlistArray;
class PlistDictionary;

namespace vanto {

/// The values of a tree in the order in which the binary form has them: each container before its members, each key
/// before its value. What has to be known before the first byte is written is found meanwhile.
class PropertyListSequence {
 public:
  struct Item {
    const Object* object;
    /// Of a string: its number among strings().
    std::uint32_t string;
    /// True for a string that is a key.
    bool isKey;
  };

  /// Takes in a tree. Null, or why it cannot be written.
  [[nodiscard]] const char* take(const Object& root);

  [[nodiscard]] const std::vector<Item>& items() const noexcept { return items_; }
  /// The strings, arranged.
  [[nodiscard]] const PropertyListStringOrder& strings() const noexcept { return strings_; }
  /// The bits that are set in any count of the document.
  [[nodiscard]] std::uint32_t bitsOfCounts() const noexcept { return bitsOfCounts_; }

 private:
  /// An object that is still to be taken in.
  struct Waiting {
    const Object* object;
    /// Containers around it.
    std::uint32_t depth;
    bool isKey;
  };

  [[nodiscard]] const char* takeNext();
  void waitForMembers(const PlistArray& array, std::uint32_t depth);
  void waitForMembers(const PlistDictionary& dictionary, std::uint32_t depth);
  void reverse(std::size_t first) noexcept;
  void addCount(std::size_t count) noexcept;
  void takeStrings() noexcept;

  std::vector<Item> items_;
  PropertyListStringOrder strings_;
  /// The next one last.
  WorkStack<Waiting, 64> waiting_;
  std::uint32_t bitsOfCounts_ = 0;
  /// What the document takes at least.
  std::size_t leastBytes_ = 0;
};

}  // namespace vanto
