// SPDX-License-Identifier: Apache-2.0
#include "ipc/BodyRoom.h"

#include <optional>

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr uid_t user = 4731;
constexpr std::size_t most = limits::ipcChunkedBytesPerUser;

TEST(BodyRoom, IsGivenBackAtItsEnd) {
  std::optional<BodyRoom> room(BodyRoom::take(user, most));
  EXPECT_TRUE(*room);
  EXPECT_FALSE(BodyRoom::take(user, 1));
  room.reset();
  EXPECT_TRUE(BodyRoom::take(user, 1));
}

TEST(BodyRoom, GoesAlongWhenItIsMoved) {
  BodyRoom first = BodyRoom::take(user, most);
  BodyRoom second(std::move(first));
  EXPECT_FALSE(first);
  EXPECT_TRUE(second);
  first = std::move(second);
  EXPECT_FALSE(BodyRoom::take(user, 1));
  first = {};
  EXPECT_TRUE(BodyRoom::take(user, most));
}

}  // namespace
}  // namespace vanto::test
