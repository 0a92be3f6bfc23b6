// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementCache.h"

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/signing/SampleFacts.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

std::string textOf(std::size_t number) {
  return "identifier \"org.vanto.client" + std::to_string(number) + "\"";
}

TEST(RequirementCache, CompilesATextOnce) {
  RequirementCache cache;
  const auto first = cache.requirementFor("valid");
  ASSERT_TRUE(first);
  EXPECT_EQ(cache.requirementFor("valid"), first);
  EXPECT_NE(cache.requirementFor("valid "), first);
  EXPECT_EQ(cache.count(), 2U);
}

TEST(RequirementCache, KeepsNothingOfATextThatIsNoRequirement) {
  RequirementCache cache;
  RequirementError error;
  for (int call = 0; call < 2; ++call) {
    error = {};
    EXPECT_EQ(cache.requirementFor("valid and", &error), nullptr);
    EXPECT_EQ(error.column, 10U);
  }
  EXPECT_EQ(cache.requirementFor("valid and"), nullptr);
  EXPECT_EQ(cache.count(), 0U);
}

TEST(RequirementCache, LeavesTheErrorAloneForARequirement) {
  RequirementCache cache;
  RequirementError error{7, 8, "problem", "remedy"};
  for (int call = 0; call < 2; ++call) EXPECT_TRUE(cache.requirementFor("valid", &error));
  EXPECT_EQ(error.text(), "column 8 (line 7): problem; remedy");
}

TEST(RequirementCache, DropsTheOneThatWasNotAskedForTheLongest) {
  RequirementCache cache;
  std::vector<std::shared_ptr<const Requirement>> made;
  for (std::size_t number = 0; number < limits::requirementsKept; ++number) {
    made.push_back(cache.requirementFor(textOf(number)));
  }
  EXPECT_EQ(cache.count(), limits::requirementsKept);
  // The first is asked for again, so that the second is the oldest.
  EXPECT_EQ(cache.requirementFor(textOf(0)), made[0]);
  const auto added = cache.requirementFor(textOf(limits::requirementsKept));
  EXPECT_EQ(cache.count(), limits::requirementsKept);
  EXPECT_EQ(cache.requirementFor(textOf(limits::requirementsKept)), added);
  EXPECT_EQ(cache.requirementFor(textOf(0)), made[0]);
  EXPECT_EQ(cache.requirementFor(textOf(2)), made[2]);
  EXPECT_NE(cache.requirementFor(textOf(1)), made[1]);
  EXPECT_EQ(cache.count(), limits::requirementsKept);
}

TEST(RequirementCache, WhatItDroppedStaysGood) {
  RequirementCache cache;
  const auto first = cache.requirementFor("identifier \"org.vanto.client\"");
  for (std::size_t number = 0; number < 2 * limits::requirementsKept; ++number) {
    ASSERT_TRUE(cache.requirementFor(textOf(number)));
  }
  EXPECT_EQ(cache.count(), limits::requirementsKept);
  EXPECT_EQ(first.use_count(), 1);
  EXPECT_TRUE(first->isSatisfiedBy(test::validFacts()));
}

TEST(RequirementCache, AnswersSeveralThreadsAlike) {
  RequirementCache cache;
  constexpr std::size_t count = 4;
  constexpr std::size_t texts = limits::requirementsKept + 10;
  const CodeFacts facts = test::validFacts();
  std::atomic<std::size_t> satisfied = 0;
  std::barrier start(count);
  std::vector<std::thread> threads;
  for (std::size_t index = 0; index < count; ++index) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (std::size_t number = 0; number < texts; ++number) {
        const auto requirement = cache.requirementFor(textOf(number) + " or valid");
        if (requirement != nullptr && requirement->isSatisfiedBy(facts)) ++satisfied;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(satisfied, count * texts);
  EXPECT_EQ(cache.count(), limits::requirementsKept);
}

TEST(RequirementCache, TheProcessHasOne) {
  EXPECT_EQ(&RequirementCache::shared(), &RequirementCache::shared());
  const auto requirement = RequirementCache::shared().requirementFor("valid");
  EXPECT_EQ(RequirementCache::shared().requirementFor("valid"), requirement);
}

}  // namespace
}  // namespace vanto::testing
