// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "value/Memory.h"

namespace vanto {

/// A stack of plain records for walking trees without recursion. The first `InPlace` of them lie in the object itself,
/// so that small trees cost no allocation.
template <typename T, std::size_t InPlace>
class WorkStack {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

 public:
  // Not "= default": the room in place stays as it is.
  WorkStack() noexcept {}  // NOLINT
  WorkStack(const WorkStack&) = delete;
  WorkStack& operator=(const WorkStack&) = delete;
  ~WorkStack() {
    if (items_ != inPlace()) Memory::free(items_);
  }

  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool isEmpty() const noexcept { return size_ == 0; }
  [[nodiscard]] T& operator[](std::size_t index) noexcept { return items_[index]; }
  [[nodiscard]] T& top() noexcept { return items_[size_ - 1]; }

  void push(const T& item) noexcept {
    if (size_ == capacity_) [[unlikely]]
      grow();
    items_[size_++] = item;
  }
  /// Drops everything above the first `size` items.
  void shrink(std::size_t size) noexcept { size_ = size; }

 private:
  T* inPlace() noexcept { return reinterpret_cast<T*>(memory_); }

  void grow() noexcept {
    void* previous = items_ == inPlace() ? nullptr : items_;
    capacity_ *= 2;
    auto* items = static_cast<T*>(Memory::resize(previous, Memory::product(capacity_, sizeof(T))));
    if (previous == nullptr) std::memcpy(static_cast<void*>(items), memory_, size_ * sizeof(T));
    items_ = items;
  }

  T* items_ = inPlace();
  std::size_t size_ = 0;
  std::size_t capacity_ = InPlace;
  alignas(T) std::byte memory_[InPlace * sizeof(T)];
};

}  // namespace vanto
