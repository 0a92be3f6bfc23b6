// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "ipc/ByteBuffer.h"
#include "ipc/WireBytes.h"

namespace vanto {

/// Appends the pieces of an encoded object, each padded, up to a limit of the whole. Each operation answers false when
/// its piece would exceed that, and then has appended nothing.
class WireWriter {
 public:
  WireWriter(ByteBuffer& bytes, std::size_t limit) noexcept : bytes_(bytes), limit_(limit) {}

  [[nodiscard]] bool addHeader(std::uint32_t kind, std::uint32_t detail) noexcept {
    std::uint8_t* place = room(8);
    if (place == nullptr) return false;
    store32(place, kind);
    store32(place + 4, detail);
    return true;
  }

  [[nodiscard]] bool addWord(std::uint64_t word) noexcept {
    std::uint8_t* place = room(8);
    if (place == nullptr) return false;
    store64(place, word);
    return true;
  }

  /// A header without detail and a number.
  [[nodiscard]] bool addNumber(std::uint32_t kind, std::uint64_t number) noexcept {
    std::uint8_t* place = room(16);
    if (place == nullptr) return false;
    store64(place, kind);
    store64(place + 8, number);
    return true;
  }

  /// A header whose detail is the length, and the contents.
  [[nodiscard]] bool addContents(std::uint32_t kind, const void* contents, std::size_t length) noexcept {
    if (length > limit_) return false;
    const std::size_t padded = wirePadded(length);
    std::uint8_t* place = room(8 + padded);
    if (place == nullptr) return false;
    // The last word first, so that what the contents leave of it is zero.
    store64(place + padded, 0);
    store32(place, kind);
    store32(place + 4, static_cast<std::uint32_t>(length));
    if (length != 0) std::memcpy(place + 8, contents, length);
    return true;
  }

  /// A word of four bytes and text behind it.
  [[nodiscard]] bool addText(std::uint32_t word, std::string_view text) noexcept {
    if (text.size() > limit_) return false;
    const std::size_t padded = wirePadded(4 + text.size());
    std::uint8_t* place = room(padded);
    if (place == nullptr) return false;
    store64(place + padded - 8, 0);
    store32(place, word);
    if (!text.empty()) std::memcpy(place + 4, text.data(), text.size());
    return true;
  }

 private:
  [[nodiscard]] std::uint8_t* room(std::size_t size) noexcept { return bytes_.append(size, limit_); }

  ByteBuffer& bytes_;
  const std::size_t limit_;
};

}  // namespace vanto
