// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Alarms.h"

#include <fstream>

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

/// Of the only timer descriptor of this process, as the kernel tells it: "it_value: (seconds, nanoseconds)".
std::string armedTimer() {
  std::string found = "no timer descriptor";
  for (int descriptor = 0; descriptor < 64; descriptor++) {
    std::ifstream facts("/proc/self/fdinfo/" + std::to_string(descriptor));
    for (std::string line; std::getline(facts, line);) {
      if (line.rfind("it_value: ", 0) == 0) found = line;
    }
  }
  return found;
}

TEST(Alarms, LeaveNoTimerArmedOnceNoneIsSet) {
  EXPECT_EQ(runWithEvents([](const auto&, Alarms& alarms) {
              static Alarm first(alarms, [] {});
              static Alarm second(alarms, [] {});
              static Alarm last(alarms, [] { finish(); });
              first.set(deadlineAfter(100'000'000'000));
              second.set(deadlineAfter(200'000'000'000));
              first.set(UINT64_MAX);
              EXPECT_NE(armedTimer(), "it_value: (0, 0)");
              second.set(UINT64_MAX);
              EXPECT_EQ(armedTimer(), "it_value: (0, 0)");
              // What is due at once needs no timer.
              last.set(0);
              EXPECT_EQ(armedTimer(), "it_value: (0, 0)");
            }),
            Lines{});
}

}  // namespace
}  // namespace vanto::test
