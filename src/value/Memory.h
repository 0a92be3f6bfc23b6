// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdlib>

namespace vanto {

/// Plain memory for objects and their buffers. Running out of it ends the process, so callers need no failure path.
struct Memory {
  /// `size` bytes, aligned for anything.
  [[nodiscard]] static void* allocate(std::size_t size) noexcept {
    void* memory = std::malloc(size);
    if (memory == nullptr) [[unlikely]]
      fail("Memory allocate");
    return memory;
  }

  /// `memory`, which may be null, made `size` bytes long; its contents stay.
  [[nodiscard]] static void* resize(void* memory, std::size_t size) noexcept {
    void* resized = std::realloc(memory, size);
    if (resized == nullptr) [[unlikely]]
      fail("Memory resize");
    return resized;
  }

  /// Asks the system to back memory with large pages where it has them, once it is touched. For memory that is about to
  /// be filled, where the page faults would cost as much as the filling.
  static void preferLargePages(void* memory, std::size_t size) noexcept;

  static void free(void* memory) noexcept { std::free(memory); }

  /// Arithmetic on sizes; an overflow ends the process like any other demand that cannot be met.
  [[nodiscard]] static std::size_t sum(std::size_t left, std::size_t right) noexcept {
    std::size_t result = 0;
    if (__builtin_add_overflow(left, right, &result)) [[unlikely]]
      fail("Memory sum");
    return result;
  }
  [[nodiscard]] static std::size_t product(std::size_t left, std::size_t right) noexcept {
    std::size_t result = 0;
    if (__builtin_mul_overflow(left, right, &result)) [[unlikely]]
      fail("Memory product");
    return result;
  }

 private:
  [[noreturn]] static void fail(const char* operation) noexcept;
};

}  // namespace vanto
