// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Alarms.h"

#include "dispatch/Workers.h"
#include "programs/tolvend/EventChild.h"

namespace vanto::test {
namespace {

using manager::Alarm;
using manager::Alarms;
using Lines = std::vector<std::string>;

TEST(Alarms, RingInTheOrderOfTheirTimes) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static Alarm last(alarms, [report] {
                report("last");
                finish();
              });
              static Alarm middle(alarms, [report] { report("middle"); });
              static Alarm first(alarms, [report] { report("first"); });
              last.set(deadlineAfter(20'000'000));
              middle.set(deadlineAfter(10'000'000));
              first.set(0);
            }),
            (Lines{"first", "middle", "last"}));
}

TEST(Alarms, AreSetAgainAndTakenAway) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static Alarm never(alarms, [report] { report("never"); });
              static Alarm later(alarms, [report] {
                report("later");
                finish();
              });
              never.set(0);
              never.set(UINT64_MAX);
              EXPECT_FALSE(never.isSet());
              later.set(0);
              later.set(deadlineAfter(10'000'000));
              EXPECT_TRUE(later.isSet());
              Alarm ended(alarms, [report] { report("ended"); });
              ended.set(0);
            }),
            (Lines{"later"}));
}

TEST(Alarms, MayEndInTheirOwnCall) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static Alarm* own = nullptr;
              static Alarm second(alarms, [] { finish(); });
              own = new Alarm(alarms, [report] {
                delete own;
                report("ended inside");
                second.set(0);
              });
              own->set(0);
            }),
            (Lines{"ended inside"}));
}

}  // namespace
}  // namespace vanto::test
