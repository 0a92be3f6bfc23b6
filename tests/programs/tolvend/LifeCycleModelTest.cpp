// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "LifeCycleModel.h"

namespace vanto::manager {
namespace {

using Stage = StartFailure::Stage;

/// The walks are the same each time, so that a failure can be looked at. VANTO_TEST_SEED begins at another one.
std::uint64_t firstSeed() {
  const char* text = std::getenv("VANTO_TEST_SEED");
  return text != nullptr ? std::strtoull(text, nullptr, 10) : 1;
}

TEST(LifeCycleModel, KeepsItsPromisesWhateverHappens) {
  LifeCycleModel::Seen all;
  for (std::uint64_t seed = firstSeed(), last = seed + 2500; seed != last; ++seed) {
    LifeCycleModel model(seed);
    ASSERT_EQ(model.walk(), "") << "VANTO_TEST_SEED=" << seed;
    const LifeCycleModel::Seen& seen = model.seen();
    all.served += seen.served;
    all.told += seen.told;
    all.lost += seen.lost;
    all.spawns += seen.spawns;
    all.kills += seen.kills;
    all.leaves += seen.leaves;
    all.feigned += seen.feigned;
    all.besieged += seen.besieged;
    all.longestWait = std::max(all.longestWait, seen.longestWait);
    for (const auto& [stage, count] : seen.stages) all.stages[stage] += count;
  }
  // A walk that never comes to a state proves nothing about it.
  EXPECT_GT(all.served, 1000U);
  EXPECT_GT(all.told, 1000U);
  EXPECT_GT(all.lost, 100U);
  EXPECT_GT(all.kills, 100U);
  EXPECT_GT(all.leaves, 100U);
  EXPECT_GT(all.feigned, 100U);
  EXPECT_GT(all.besieged, 100U);
  for (const Stage stage : {Stage::Held, Stage::Pause, Stage::Resources, Stage::Executable, Stage::Listening,
                            Stage::Greeting, Stage::Removed}) {
    EXPECT_GT(all.stages[stage], 50U) << stageName(stage);
  }
  RecordProperty("served", std::to_string(all.served));
  RecordProperty("told", std::to_string(all.told));
  RecordProperty("besieged", std::to_string(all.besieged));
  RecordProperty("starts", std::to_string(all.spawns));
  RecordProperty("longest wait in ms", std::to_string(all.longestWait / 1'000'000));
}

}  // namespace
}  // namespace vanto::manager
