// SPDX-License-Identifier: Apache-2.0
#include "value/Memory.h"

#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

namespace {

using vanto::Memory;

/// More than the address space holds. Read at run time, so that no compiler warns of it.
volatile std::size_t unavailable = SIZE_MAX / 4;

TEST(Memory, KeepsItsContentsWhenResized) {
  char* memory = static_cast<char*>(Memory::allocate(4));
  std::memcpy(memory, "abc", 4);
  memory = static_cast<char*>(Memory::resize(memory, 100000));
  EXPECT_STREQ(memory, "abc");
  Memory::free(memory);
  memory = static_cast<char*>(Memory::resize(nullptr, 1));
  EXPECT_NE(memory, nullptr);
  Memory::free(memory);
  Memory::free(nullptr);
}

TEST(Memory, MayPreferLargePagesForMemoryOfAnySize) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{5'000'000}, std::size_t{40'000'000}}) {
    auto* memory = static_cast<char*>(Memory::allocate(size));
    memory[0] = 'a';
    memory[size - 1] = 'z';
    Memory::preferLargePages(memory, size);
    EXPECT_EQ(memory[0], size == 1 ? 'z' : 'a');
    EXPECT_EQ(memory[size - 1], 'z');
    Memory::free(memory);
  }
}

TEST(Memory, AddsAndMultipliesSizes) {
  EXPECT_EQ(Memory::sum(2, 3), 5u);
  EXPECT_EQ(Memory::sum(SIZE_MAX, 0), SIZE_MAX);
  EXPECT_EQ(Memory::product(2, 3), 6u);
  EXPECT_EQ(Memory::product(0, SIZE_MAX), 0u);
}

TEST(MemoryDeathTest, EndsTheProcessWhenThereIsNone) {
  // The address sanitizer ends the process in its own words.
  EXPECT_DEATH(static_cast<void>(Memory::allocate(unavailable)), "function Memory allocate|requested allocation size");
  EXPECT_DEATH(static_cast<void>(Memory::resize(nullptr, unavailable)),
               "function Memory resize|requested allocation size");
}

TEST(MemoryDeathTest, EndsTheProcessWhenASizeOverflows) {
  EXPECT_DEATH(static_cast<void>(Memory::sum(SIZE_MAX, 1)), "function Memory sum");
  EXPECT_DEATH(static_cast<void>(Memory::product(SIZE_MAX / 2, 3)), "function Memory product");
}

}  // namespace
