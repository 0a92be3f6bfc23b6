// SPDX-License-Identifier: Apache-2.0
#include "ipc/UserLimit.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "ipc/Activity.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

TEST(UserLimit, CountsEachUserOnItsOwn) {
  const std::size_t before = Activity::openConnections();
  UserLimit::setConnections(2);
  EXPECT_TRUE(UserLimit::takeConnection(4711));
  EXPECT_TRUE(UserLimit::takeConnection(4711));
  EXPECT_FALSE(UserLimit::takeConnection(4711));
  EXPECT_TRUE(UserLimit::takeConnection(4712));
  EXPECT_EQ(Activity::openConnections(), before + 3);
  UserLimit::giveConnectionBack(4711);
  EXPECT_TRUE(UserLimit::takeConnection(4711));
  UserLimit::setConnections(limits::ipcConnectionsPerUser);
  EXPECT_TRUE(UserLimit::takeConnection(4711));
  for (int i = 0; i < 3; i++) UserLimit::giveConnectionBack(4711);
  UserLimit::giveConnectionBack(4712);
  EXPECT_EQ(Activity::openConnections(), before);
}

TEST(UserLimit, CountsTheBytesOfEachUserOnTheirOwn) {
  constexpr std::size_t most = limits::ipcChunkedBytesPerUser;
  EXPECT_TRUE(UserLimit::takeBytes(4711, most - 1));
  EXPECT_FALSE(UserLimit::takeBytes(4711, 2));
  EXPECT_TRUE(UserLimit::takeBytes(4711, 1));
  EXPECT_FALSE(UserLimit::takeBytes(4711, 1));
  EXPECT_TRUE(UserLimit::takeBytes(4712, most));
  UserLimit::giveBytesBack(4711, most);
  EXPECT_FALSE(UserLimit::takeBytes(4711, most + 1));
  EXPECT_TRUE(UserLimit::takeBytes(4711, most));
  UserLimit::giveBytesBack(4711, most);
  UserLimit::giveBytesBack(4712, most);
}

TEST(UserLimit, IsTheGivenOne) {
  std::size_t count = 0;
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit many{before.rlim_max, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &many), 0);
  while (UserLimit::takeConnection(4713)) count++;
  EXPECT_EQ(count, std::min<std::size_t>(limits::ipcConnectionsPerUser, many.rlim_cur / 4 * 3));
  while (count-- > 0) UserLimit::giveConnectionBack(4713);
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST(UserLimit, LeavesAQuarterOfTheDescriptors) {
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  std::size_t count = 0;
  while (UserLimit::takeConnection(static_cast<uid_t>(4720 + count % 3))) count++;
  EXPECT_EQ(count, 75U);
  for (std::size_t i = 0; i < count; i++) UserLimit::giveConnectionBack(static_cast<uid_t>(4720 + i % 3));
  setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace vanto::test
