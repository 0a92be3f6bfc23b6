// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace vanto {

/// Bytes that are appended, in memory that stays when they are cleared. Fresh memory is not filled, since a large
/// message would then be written twice.
class ByteBuffer {
 public:
  ByteBuffer() noexcept = default;
  ByteBuffer(ByteBuffer&& other) noexcept { swap(other); }
  ByteBuffer& operator=(ByteBuffer&& other) noexcept {
    swap(other);
    return *this;
  }
  ~ByteBuffer();

  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {memory_, size_}; }
  [[nodiscard]] std::uint8_t* begin() noexcept { return memory_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }

  /// Appends `size` bytes, not 0, for the caller to write. Null, with nothing appended, when there would then be more
  /// than `limit`; memory never grows beyond that either.
  [[nodiscard]] std::uint8_t* append(std::size_t size, std::size_t limit) noexcept {
    if (size > capacity_ - size_ && !grow(size, limit)) [[unlikely]]
      return nullptr;
    std::uint8_t* place = memory_ + size_;
    size_ += size;
    return place;
  }

  void clear() noexcept { size_ = 0; }

 private:
  [[nodiscard]] bool grow(std::size_t size, std::size_t limit) noexcept;

  void swap(ByteBuffer& other) noexcept {
    std::swap(memory_, other.memory_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

  std::uint8_t* memory_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace vanto
