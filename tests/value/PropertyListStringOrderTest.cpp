// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListStringOrder.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "support/Values.h"

namespace vanto {
namespace {

using namespace testing;

TEST(PropertyListStringOrder, HasEachTextOnceInAscendingOrder) {
  PropertyListStringOrder order;
  const std::uint32_t second = order.add(*string("b"));
  const std::uint32_t first = order.add(*mutableString("a"));
  const std::uint32_t again = order.add(*mutableString("b"));
  const std::uint32_t empty = order.add(*string(""));
  order.arrange();
  ASSERT_EQ(order.texts().size(), 3U);
  EXPECT_EQ(order.texts()[0]->text(), "");
  EXPECT_EQ(order.texts()[1]->text(), "a");
  EXPECT_EQ(order.texts()[2]->text(), "b");
  EXPECT_EQ(order.index(empty), 0U);
  EXPECT_EQ(order.index(first), 1U);
  EXPECT_EQ(order.index(second), 2U);
  EXPECT_EQ(order.index(again), 2U);
}

TEST(PropertyListStringOrder, OrdersBytesWithoutSignAndPrefixesFirst) {
  PropertyListStringOrder order;
  const std::vector<std::string> ascending = {"", std::string("\0", 1), "a", std::string("a\0", 2), "ab", "z", "é",
                                              "😀"};
  std::vector<std::uint32_t> numbers;
  for (auto text = ascending.rbegin(); text != ascending.rend(); ++text) numbers.push_back(order.add(*string(*text)));
  order.arrange();
  ASSERT_EQ(order.texts().size(), ascending.size());
  for (std::size_t index = 0; index < ascending.size(); ++index) {
    EXPECT_EQ(order.texts()[index]->text(), ascending[index]);
    EXPECT_EQ(order.index(numbers[ascending.size() - 1 - index]), index);
  }
}

TEST(PropertyListStringOrder, FindsEveryRepetitionAmongMoreTextsThanItRemembers) {
  PropertyListStringOrder order;
  std::mt19937 random(1);
  std::map<std::string, std::vector<std::uint32_t>> expected;
  for (int round = 0; round < 30'000; ++round) {
    const std::string text = "text " + std::to_string(random() % 10'000) + std::string(random() % 3 * 8, 'x');
    expected[text].push_back(order.add(*string(text)));
  }
  order.arrange();
  ASSERT_EQ(order.texts().size(), expected.size());
  std::uint32_t index = 0;
  for (const auto& [text, numbers] : expected) {
    EXPECT_EQ(order.texts()[index]->text(), text);
    for (const std::uint32_t number : numbers) EXPECT_EQ(order.index(number), index);
    ++index;
  }
}

TEST(PropertyListStringOrder, IsEmptyWithoutStrings) {
  PropertyListStringOrder order;
  order.arrange();
  EXPECT_TRUE(order.texts().empty());
}

}  // namespace
}  // namespace vanto
