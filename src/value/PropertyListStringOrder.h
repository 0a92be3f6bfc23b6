// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <VantoService/PlistString.h>

namespace vanto {

/// Brings the strings of a tree in order, each text once. Strings are added one after the other, as often as they come,
/// then arranged. It takes no longer for strings that someone chose with bad intent: what keeps most repetitions out is
/// only a memory of the latest strings, and sorting finds the others.
class PropertyListStringOrder {
 public:
  /// Adds a string, which must not change or go meanwhile. Gives the number under which index() finds it; equal strings
  /// may have different numbers.
  [[nodiscard]] std::uint32_t add(const PlistString& string);

  /// Takes in what was added; nothing is added later.
  void arrange();

  /// The different texts, ascending. After arrange().
  [[nodiscard]] const std::vector<const PlistString*>& texts() const noexcept { return texts_; }
  /// Where the text of the string with `number` stands among them.
  [[nodiscard]] std::uint32_t index(std::uint32_t number) const noexcept { return indices_[number]; }

 private:
  static constexpr unsigned placeBits = 12;

  [[nodiscard]] static std::size_t placeOf(std::string_view text) noexcept;

  /// The strings by number.
  std::vector<const PlistString*> strings_;
  /// Numbers of the latest strings, each 1 more than it is; 0 where there is none.
  std::array<std::uint32_t, std::size_t{1} << placeBits> latest_{};
  std::vector<const PlistString*> texts_;
  /// Places in texts_ by number.
  std::vector<std::uint32_t> indices_;
};

}  // namespace vanto
