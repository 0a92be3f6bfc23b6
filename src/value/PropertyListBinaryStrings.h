// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <VantoService/PlistString.h>

#include "value/ObjectBlock.h"
#include "value/PropertyListBinarySource.h"
#include "value/WorkStack.h"

namespace vanto {

/// The strings of a binary document while it is read: one object for each text, whoever uses it.
class PropertyListBinaryStrings {
 public:
  using Byte = PropertyListBinarySource::Byte;

  /// Reads the table of strings at `at` and makes the strings in `block`. Gives the place behind it, or null.
  [[nodiscard]] const Byte* read(PropertyListBinarySource& source, const Byte* at, ObjectBlock& block) noexcept;

  [[nodiscard]] std::size_t count() const noexcept { return strings_.size(); }

  /// The string with an index below count(), which so is used.
  [[nodiscard]] PlistString* use(std::uint32_t index) noexcept {
    strings_[index].isUsed = true;
    return strings_[index].string;
  }

  /// The place of the first text that nobody used; null when there is none.
  [[nodiscard]] const Byte* unused() noexcept;

 private:
  struct Used {
    PlistString* string;
    bool isUsed;
  };

  [[nodiscard]] const Byte* makeStrings(PropertyListBinarySource& source, const Byte* lengths, std::uint32_t count,
                                        const char* copy, ObjectBlock& block) noexcept;

  WorkStack<Used, 64> strings_;
  /// The texts as they lie in the document.
  const Byte* texts_ = nullptr;
};

}  // namespace vanto
