// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "ipc/WireBytes.h"

namespace vanto {

/// Takes the pieces of an encoded object from bytes that came from elsewhere. Each operation checks what it takes and
/// answers false, or null, for what is not there or not padded with zeros.
class WireReader {
 public:
  explicit WireReader(std::span<const std::uint8_t> bytes) noexcept
      : cursor_(bytes.data()), end_(bytes.data() + bytes.size()), units_(bytes.size() / wireAlignment) {}

  [[nodiscard]] bool isAtEnd() const noexcept { return cursor_ == end_; }

  [[nodiscard]] bool takeHeader(std::uint32_t& kind, std::uint32_t& detail) noexcept {
    const std::uint8_t* header = take(8);
    if (header == nullptr) return false;
    kind = load32(header);
    detail = load32(header + 4);
    return true;
  }

  /// `size` bytes and the zeros behind them.
  [[nodiscard]] const std::uint8_t* takePadded(std::size_t size) noexcept {
    const std::size_t padded = wirePadded(size);
    const std::uint8_t* place = take(padded);
    if (place == nullptr || size == padded) return place;
    const std::size_t usedBits = size % wireAlignment * 8;
    return load64(place + padded - wireAlignment) >> usedBits == 0 ? place : nullptr;
  }

  /// The number behind a header, which must have no detail.
  [[nodiscard]] bool takeNumber(std::uint32_t detail, std::uint64_t& number) noexcept {
    const std::uint8_t* place = take(8);
    if (place == nullptr || detail != 0) return false;
    number = load64(place);
    return true;
  }

  /// A word of four bytes and text behind it, in the bytes themselves.
  [[nodiscard]] bool takeText(std::size_t length, std::uint32_t& word, std::string_view& text) noexcept {
    const std::uint8_t* place = takePadded(4 + length);
    if (place == nullptr) return false;
    word = load32(place);
    text = {reinterpret_cast<const char*>(place + 4), length};
    return true;
  }

  /// Text behind a word that is its length.
  [[nodiscard]] bool takeKey(std::string_view& key) noexcept {
    if (remaining() < wireAlignment) return false;
    std::uint32_t length = load32(cursor_);
    return takeText(length, length, key);
  }

  /// Claims words of eight bytes for the elements of a container. A container makes room for what it claims, so without
  /// this bound nested ones could claim the same bytes again and again.
  [[nodiscard]] bool claim(std::size_t units) noexcept {
    if (units > units_) return false;
    units_ -= units;
    return true;
  }

 private:
  [[nodiscard]] std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - cursor_); }

  [[nodiscard]] const std::uint8_t* take(std::size_t size) noexcept {
    if (size > remaining()) return nullptr;
    const std::uint8_t* place = cursor_;
    cursor_ += size;
    return place;
  }

  const std::uint8_t* cursor_;
  const std::uint8_t* const end_;
  /// Words that no container has claimed yet.
  std::size_t units_;
};

}  // namespace vanto
