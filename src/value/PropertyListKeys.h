// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <VantoService/PlistString.h>

namespace vanto {

/// Remembers keys of a document by their text, so that dictionaries with the same keys share them. It may forget any
/// key at any time: of keys that fall on the same place only the latest is kept, so no choice of keys makes it slow.
class PropertyListKeys {
 public:
  /// The place where a key with `text` is, or would be, remembered. At least 8 bytes can be read from the beginning of
  /// the text.
  [[nodiscard]] PlistString*& placeOf(std::string_view text) noexcept {
    const std::size_t length = text.size();
    std::uint64_t first = 0;
    std::memcpy(&first, text.data(), sizeof first);
    // The last 8 bytes of a long text count too; of a short one only what belongs to it.
    std::uint64_t last = length;
    if (length >= 8) {
      std::memcpy(&last, text.data() + length - 8, sizeof last);
    } else {
      first &= (std::uint64_t{1} << (8 * length)) - 1;
    }
    const std::uint64_t mixed = (first ^ last * 0x9E3779B97F4A7C15 ^ length) * 0xD1B54A32D192ED03;
    return places_[mixed >> (64 - placeBits)];
  }

  /// True when `key`, which may be null, has `text`.
  [[nodiscard]] static bool matches(const PlistString* key, std::string_view text) noexcept {
    return key != nullptr && key->length() == text.size() && std::memcmp(key->utf8(), text.data(), text.size()) == 0;
  }

 private:
  static constexpr unsigned placeBits = 7;

  std::array<PlistString*, std::size_t{1} << placeBits> places_{};
};

}  // namespace vanto
