// SPDX-License-Identifier: Apache-2.0
#include "ipc/EventList.h"

#include <gtest/gtest.h>

#include "ipc/ScalarObject.h"

namespace vanto::test {
namespace {

Event event(std::int64_t number) {
  return {Event::Kind::Message, Ref<vanto_object>::adopt(vanto_int64_create(number))};
}

std::int64_t numberOf(const Event& event) {
  return vanto_int64_get_value(event.object.get());
}

TEST(EventList, GivesEventsInTheOrderOfTheirArrival) {
  EventList list;
  EXPECT_TRUE(list.isEmpty());
  for (std::int64_t i = 0; i < 1000; i++) list.add(event(i));
  EXPECT_EQ(list.count(), 1000U);
  for (std::int64_t i = 0; i < 1000; i++) EXPECT_EQ(numberOf(list.take(0)), i);
  EXPECT_TRUE(list.isEmpty());
}

TEST(EventList, TakesOneFromTheMiddleAlsoBehindOnesTaken) {
  EventList list;
  for (std::int64_t i = 0; i < 200; i++) list.add(event(i));
  for (std::int64_t i = 0; i < 150; i++) EXPECT_EQ(numberOf(list.take(0)), i);
  EXPECT_EQ(numberOf(list.at(3)), 153);
  EXPECT_EQ(numberOf(list.take(3)), 153);
  EXPECT_EQ(numberOf(list.take(0)), 150);
  EXPECT_EQ(numberOf(list.take(2)), 154);
  EXPECT_EQ(list.count(), 47U);
}

TEST(EventList, TakesNoMoreMemoryTheLongerItIsNotEmpty) {
  EventList list;
  for (std::int64_t i = 0; i < 128; i++) list.add(event(i));
  for (std::int64_t i = 0; i < 100'000; i++) {
    list.add(event(128 + i));
    ASSERT_EQ(numberOf(list.take(0)), i);
  }
  EXPECT_EQ(list.count(), 128U);
  EXPECT_LE(list.room(), 512U);
}

TEST(EventList, GivesTheMemoryOfManyEventsBackOnceItIsEmpty) {
  EventList list;
  for (std::int64_t i = 0; i < 1000; i++) list.add(event(i));
  while (!list.isEmpty()) static_cast<void>(list.take(0));
  EXPECT_EQ(list.room(), 0U);
}

}  // namespace
}  // namespace vanto::test
