// SPDX-License-Identifier: Apache-2.0
#include "ipc/PendingCalls.h"

#include <vector>

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::test {
namespace {

TEST(PendingCalls, FindsCallsByTheirIds) {
  PendingCalls calls;
  PendingCall three{.id = 3};
  PendingCall seven{.id = 7};
  calls.add(three);
  calls.add(seven);
  EXPECT_EQ(calls.find(3), &three);
  EXPECT_EQ(calls.find(7), &seven);
  for (const std::uint64_t id : {0, 2, 4, 8}) EXPECT_EQ(calls.find(id), nullptr);
  calls.remove(three);
  EXPECT_EQ(calls.find(3), nullptr);
  EXPECT_EQ(calls.first(), &seven);
  calls.remove(seven);
  EXPECT_EQ(calls.first(), nullptr);
}

TEST(PendingCalls, IsFullAtTheLimit) {
  PendingCalls calls;
  std::vector<PendingCall> many(limits::ipcPendingReplies);
  for (std::size_t i = 0; i < many.size(); i++) {
    EXPECT_FALSE(calls.isFull());
    many[i].id = i + 1;
    calls.add(many[i]);
  }
  EXPECT_TRUE(calls.isFull());
  calls.remove(many[100]);
  EXPECT_FALSE(calls.isFull());
}

TEST(PendingCalls, KnowsTheEarliestDeadline) {
  PendingCalls calls;
  EXPECT_EQ(calls.earliestDeadline(), UINT64_MAX);
  PendingCall one{.id = 1};
  PendingCall two{.id = 2, .deadline = 50};
  PendingCall three{.id = 3, .deadline = 40};
  for (PendingCall* call : {&one, &two, &three}) calls.add(*call);
  EXPECT_EQ(calls.earliestDeadline(), 40U);
  EXPECT_EQ(calls.expired(39), nullptr);
  EXPECT_EQ(calls.expired(40), &three);
  calls.remove(three);
  EXPECT_EQ(calls.expired(49), nullptr);
  EXPECT_EQ(calls.expired(1000), &two);
}

}  // namespace
}  // namespace vanto::test
