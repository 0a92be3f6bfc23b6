// SPDX-License-Identifier: Apache-2.0
#include "ipc/ConnectionLimit.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "ipc/Activity.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

TEST(ConnectionLimit, CountsEachUserOnItsOwn) {
  const std::size_t before = Activity::openConnections();
  ConnectionLimit::setPerUser(2);
  EXPECT_TRUE(ConnectionLimit::take(4711));
  EXPECT_TRUE(ConnectionLimit::take(4711));
  EXPECT_FALSE(ConnectionLimit::take(4711));
  EXPECT_TRUE(ConnectionLimit::take(4712));
  EXPECT_EQ(Activity::openConnections(), before + 3);
  ConnectionLimit::giveBack(4711);
  EXPECT_TRUE(ConnectionLimit::take(4711));
  ConnectionLimit::setPerUser(limits::ipcConnectionsPerUser);
  EXPECT_TRUE(ConnectionLimit::take(4711));
  for (int i = 0; i < 3; i++) ConnectionLimit::giveBack(4711);
  ConnectionLimit::giveBack(4712);
  EXPECT_EQ(Activity::openConnections(), before);
}

TEST(ConnectionLimit, IsTheGivenOne) {
  std::size_t count = 0;
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit many{before.rlim_max, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &many), 0);
  while (ConnectionLimit::take(4713)) count++;
  EXPECT_EQ(count, std::min<std::size_t>(limits::ipcConnectionsPerUser, many.rlim_cur / 4 * 3));
  while (count-- > 0) ConnectionLimit::giveBack(4713);
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST(ConnectionLimit, LeavesAQuarterOfTheDescriptors) {
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  std::size_t count = 0;
  while (ConnectionLimit::take(static_cast<uid_t>(4720 + count % 3))) count++;
  EXPECT_EQ(count, 75U);
  for (std::size_t i = 0; i < count; i++) ConnectionLimit::giveBack(static_cast<uid_t>(4720 + i % 3));
  setrlimit(RLIMIT_NOFILE, &before);
}

}  // namespace
}  // namespace vanto::test
