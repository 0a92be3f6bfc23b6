// SPDX-License-Identifier: Apache-2.0
#include "vanto/Order.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"

namespace vanto::tool {
namespace {

TEST(Order, IsADictionaryWithACommandAndWhatItNeeds) {
  EXPECT_TRUE(vanto_equal(Order("status").request(), testing::objectOf(R"({"command": "status"})")));
  Order order("logs", "org.example.a");
  order.set("follow", test::Held(vanto_bool_create(true)));
  EXPECT_TRUE(vanto_equal(order.request(),
                          testing::objectOf(R"({"command": "logs", "label": "org.example.a", "follow": true})")));
}

TEST(Order, TakesControlCharactersAndNoBytesThatAreNoText) {
  Order order("x", "a\nb");
  EXPECT_TRUE(vanto_equal(order.request(), testing::objectOf(R"({"command": "x", "label": "a\nb"})")));
  order.set("more", std::string("\xff"));
  EXPECT_EQ(vanto_dictionary_get_count(order.request()), 2U);
}

}  // namespace
}  // namespace vanto::tool
