// SPDX-License-Identifier: Apache-2.0
#include "vanto/MessageInbox.h"

#include <thread>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

MessageInbox::Item itemOf(std::int64_t number) {
  return {static_cast<std::size_t>(number), IpcReference(vanto_int64_create(number))};
}

TEST(MessageInbox, GivesItemsInTheirOrder) {
  MessageInbox inbox;
  EXPECT_FALSE(inbox.takeIfAny());
  inbox.add(itemOf(1));
  inbox.add(itemOf(2));
  EXPECT_EQ(inbox.take().sender, 1U);
  const auto second = inbox.take(std::chrono::milliseconds(0));
  ASSERT_TRUE(second);
  EXPECT_EQ(vanto_int64_get_value(second->content.get()), 2);
  EXPECT_FALSE(inbox.take(std::chrono::milliseconds(1)));
}

TEST(MessageInbox, WaitsForAnItem) {
  MessageInbox inbox;
  std::thread sender([&inbox] { inbox.add(itemOf(7)); });
  EXPECT_EQ(inbox.take().sender, 7U);
  sender.join();
}

TEST(MessageInbox, HoldsBackWhoAddsToAFullBox) {
  MessageInbox inbox;
  for (std::size_t index = 0; index < MessageInbox::capacity; ++index) inbox.add(itemOf(0));
  std::thread sender([&inbox] { inbox.add(itemOf(9)); });
  for (std::size_t index = 0; index < MessageInbox::capacity; ++index) EXPECT_EQ(inbox.take().sender, 0U);
  EXPECT_EQ(inbox.take().sender, 9U);
  sender.join();
}

TEST(MessageInbox, LetsNobodyWaitOnceItIsClosed) {
  MessageInbox inbox;
  for (std::size_t index = 0; index < MessageInbox::capacity; ++index) inbox.add(itemOf(0));
  std::thread sender([&inbox] { inbox.add(itemOf(9)); });
  inbox.close();
  sender.join();
  inbox.add(itemOf(1));
  EXPECT_FALSE(inbox.takeIfAny());
}

}  // namespace
}  // namespace vanto::tool
