// SPDX-License-Identifier: Apache-2.0
#include "ipc/ByteBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

using vanto::ByteBuffer;

namespace {

void append(ByteBuffer& buffer, const char* text, std::size_t limit = 100'000) {
  std::uint8_t* place = buffer.append(std::strlen(text), limit);
  ASSERT_NE(place, nullptr);
  std::memcpy(place, text, std::strlen(text));
}

}  // namespace

TEST(ByteBuffer, AppendsInOrder) {
  ByteBuffer buffer;
  EXPECT_TRUE(buffer.bytes().empty());
  std::string expected;
  for (int round = 0; round < 1000; ++round) {
    append(buffer, "some bytes ");
    expected += "some bytes ";
  }
  ASSERT_EQ(buffer.size(), expected.size());
  EXPECT_EQ(std::memcmp(buffer.bytes().data(), expected.data(), expected.size()), 0);
}

TEST(ByteBuffer, AppendsUpToTheLimitAndNotOneByteMore) {
  ByteBuffer buffer;
  EXPECT_NE(buffer.append(600, 1000), nullptr);
  EXPECT_EQ(buffer.append(401, 1000), nullptr);
  EXPECT_EQ(buffer.size(), 600U);
  EXPECT_NE(buffer.append(400, 1000), nullptr);
  EXPECT_EQ(buffer.capacity(), 1000U);
  EXPECT_EQ(buffer.append(1, 1000), nullptr);
  EXPECT_EQ(buffer.append(SIZE_MAX, 1000), nullptr);
  EXPECT_EQ(buffer.size(), 1000U);
}

TEST(ByteBuffer, KeepsItsMemoryWhenItIsCleared) {
  ByteBuffer buffer;
  append(buffer, "first");
  const std::uint8_t* memory = buffer.bytes().data();
  buffer.clear();
  EXPECT_TRUE(buffer.bytes().empty());
  append(buffer, "other");
  EXPECT_EQ(buffer.bytes().data(), memory);
}

TEST(ByteBuffer, MovesItsBytes) {
  ByteBuffer buffer;
  append(buffer, "first");
  ByteBuffer other(std::move(buffer));
  EXPECT_EQ(other.size(), 5U);
  ByteBuffer third;
  append(third, "other text");
  third = std::move(other);
  EXPECT_EQ(std::memcmp(third.bytes().data(), "first", 5), 0);
}
