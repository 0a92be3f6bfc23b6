// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

#include "value/Memory.h"

namespace vanto {

/// A buffer that grows at its end and is never filled with zeros first.
class GrowingBytes {
 public:
  GrowingBytes() noexcept = default;
  GrowingBytes(const GrowingBytes&) = delete;
  GrowingBytes& operator=(const GrowingBytes&) = delete;
  ~GrowingBytes() { Memory::free(data_); }

  [[nodiscard]] const char* data() const noexcept { return data_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] std::size_t room() const noexcept { return capacity_ - size_; }
  [[nodiscard]] std::string_view text() const noexcept { return {data_, size_}; }

  /// Where the next bytes go; there is room for at least `count` of them. advance() then takes in what was written.
  [[nodiscard]] char* reserve(std::size_t count) noexcept {
    if (count > room()) [[unlikely]]
      grow(count);
    return data_ + size_;
  }
  void advance(std::size_t count) noexcept { size_ += count; }
  void advanceTo(const char* end) noexcept { size_ = static_cast<std::size_t>(end - data_); }

  void append(std::string_view bytes) noexcept {
    if (bytes.empty()) return;
    std::memcpy(reserve(bytes.size()), bytes.data(), bytes.size());
    advance(bytes.size());
  }

  void clear() noexcept { size_ = 0; }

  /// Gives the memory away; the caller frees it with Memory::free().
  [[nodiscard]] char* release() noexcept {
    size_ = capacity_ = 0;
    return std::exchange(data_, nullptr);
  }

 private:
  void grow(std::size_t count) noexcept {
    const std::size_t doubled = 2 * capacity_;
    const std::size_t capacity = doubled > size_ + count ? doubled : size_ + count;
    if (capacity >= largeCapacity) return moveToLargePages(capacity);
    data_ = static_cast<char*>(Memory::resize(data_, capacity));
    capacity_ = capacity;
  }

  /// Large pages have to be asked for before anything is written, so this is not left to Memory::resize(). The room is
  /// twice what was wanted: it costs nothing until it is used, and another move would.
  void moveToLargePages(std::size_t wanted) noexcept {
    const std::size_t capacity = 2 * wanted;
    auto* moved = static_cast<char*>(Memory::allocate(capacity));
    Memory::preferLargePages(moved, capacity);
    if (size_ != 0) std::memcpy(moved, data_, size_);
    Memory::free(std::exchange(data_, moved));
    capacity_ = capacity;
  }

  /// Smaller memory the C library keeps and uses again, so its pages are there already.
  static constexpr std::size_t largeCapacity = std::size_t{32} << 20;

  char* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace vanto
