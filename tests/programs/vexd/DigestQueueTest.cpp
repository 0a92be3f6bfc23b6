// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigestQueue.h"

#include <gtest/gtest.h>

#include "vexd/limits.h"

namespace vanto::testing {
namespace {

using vexd::DigestJob;
using vexd::DigestQueue;

constexpr std::int64_t small = vexd::limits::smallExecutableBytes;
constexpr std::int64_t large = small + 1;

bool add(DigestQueue& queue, uid_t asker, uid_t user, std::int64_t bytes = small) {
  auto job = std::make_unique<DigestJob>();
  job->asker = asker;
  job->user = user;
  job->bytes = bytes;
  return queue.add(job);
}

/// The user of the next one; 0 when there is none.
uid_t takeUser(DigestQueue& queue, std::vector<std::unique_ptr<DigestJob>>& begun) {
  std::unique_ptr<DigestJob> job = queue.take();
  const uid_t user = job ? job->user : 0;
  if (job) begun.push_back(std::move(job));
  return user;
}

TEST(DigestQueue, GivesJobsInTheOrderInWhichTheyCame) {
  DigestQueue queue;
  EXPECT_EQ(queue.take(), nullptr);
  for (const uid_t user : {1, 2, 3}) EXPECT_TRUE(add(queue, 9, user));
  for (const uid_t user : {1, 2, 3}) EXPECT_EQ(queue.take()->user, user);
  EXPECT_FALSE(queue.hasWaiting());
}

TEST(DigestQueue, BeginsOneOfAUserAndASmallOneBesideALargeOne) {
  DigestQueue queue;
  std::vector<std::unique_ptr<DigestJob>> begun;
  for (const std::int64_t bytes : {large, large, small, small}) EXPECT_TRUE(add(queue, 9, 1, bytes));
  EXPECT_TRUE(add(queue, 9, 2));
  EXPECT_EQ(takeUser(queue, begun), 1U);
  EXPECT_EQ(begun.back()->bytes, large);
  // Another user comes first.
  EXPECT_EQ(takeUser(queue, begun), 2U);
  EXPECT_EQ(takeUser(queue, begun), 1U);
  EXPECT_EQ(begun.back()->bytes, small);
  EXPECT_EQ(takeUser(queue, begun), 0U);
  queue.leave(*begun.back());
  EXPECT_EQ(takeUser(queue, begun), 1U);
  EXPECT_EQ(begun.back()->bytes, small);
  EXPECT_EQ(takeUser(queue, begun), 0U);
  queue.leave(*begun.front());
  queue.leave(*begun.back());
  EXPECT_EQ(takeUser(queue, begun), 1U);
  EXPECT_EQ(begun.back()->bytes, large);
}

TEST(DigestQueue, BeginsOneLargeOneOfAll) {
  DigestQueue queue;
  std::vector<std::unique_ptr<DigestJob>> begun;
  for (const uid_t user : {1, 2}) EXPECT_TRUE(add(queue, 9, user, large));
  EXPECT_EQ(takeUser(queue, begun), 1U);
  EXPECT_EQ(takeUser(queue, begun), 0U);
  EXPECT_TRUE(queue.hasWaiting());
  queue.leave(*begun.front());
  EXPECT_EQ(takeUser(queue, begun), 2U);
}

TEST(DigestQueue, LetsWhoAsksFillNeitherAllOfItNorThePartOfOthers) {
  DigestQueue queue;
  for (std::size_t i = 0; i < vexd::limits::waitingPerUser; ++i) EXPECT_TRUE(add(queue, 1, 5));
  EXPECT_FALSE(add(queue, 1, 5));
  // Neither the others that this one asks about nor the others who ask about that user have to wait.
  EXPECT_TRUE(add(queue, 2, 5));
  for (std::size_t i = vexd::limits::waitingPerUser; i < vexd::limits::waitingPerAsker; ++i) {
    EXPECT_TRUE(add(queue, 1, static_cast<uid_t>(100 + i)));
  }
  EXPECT_FALSE(add(queue, 1, 6));
  EXPECT_TRUE(add(queue, 2, 6));
}

TEST(DigestQueue, HoldsNoMoreThanItsLimitAndCountsWhatIsInWork) {
  DigestQueue queue;
  for (std::size_t i = 0; i < vexd::limits::waiting; ++i) {
    EXPECT_TRUE(add(queue, static_cast<uid_t>(i), static_cast<uid_t>(i)));
  }
  EXPECT_FALSE(add(queue, 1000, 1000));
  const std::unique_ptr<DigestJob> job = queue.take();
  EXPECT_FALSE(add(queue, 1000, 1000));
  queue.leave(*job);
  EXPECT_TRUE(add(queue, 1000, 1000));
  EXPECT_FALSE(add(queue, 1000, 1000));
}

}  // namespace
}  // namespace vanto::testing
