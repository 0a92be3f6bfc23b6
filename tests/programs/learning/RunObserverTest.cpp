// SPDX-License-Identifier: Apache-2.0
#include "learning/RunObserver.h"

#include <algorithm>

#include "learning/limits.h"
#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::observed;
using testing::traced;
using Outcome = RunObserver::Outcome;
using Paths = std::set<std::string>;

TEST(RunObserver, KnowsTheCommandAndWhetherItWasExecuted) {
  RunObserver observer("/w");
  EXPECT_EQ(observer.command(), 0);
  EXPECT_EQ(observer.take(traced("5 execve(\"/a\", 0x7f, 0x7e) = -1 ENOEXEC (Exec format error)")), Outcome::Taken);
  EXPECT_EQ(observer.command(), 5);
  EXPECT_FALSE(observer.hasBegun());
  EXPECT_EQ(observer.beginError(), "ENOEXEC");
  EXPECT_EQ(observer.take(traced("5 execve(\"/b\", 0x7f, 0x7e) = 0")), Outcome::Taken);
  EXPECT_TRUE(observer.hasBegun());
}

TEST(RunObserver, WaitsForTheOneWhoHasMadeAProcess) {
  const RunFacts facts = observed(
      {"5 chdir(\"a\") = 0", "7 mkdir(\"x\", 0777) = 0", "6 mkdir(\"y\", 0777) = 0", "6 vfork() = 7", "5 vfork() = 6"});
  EXPECT_EQ(facts.made, (Paths{"/w/a/x", "/w/a/y"}));
  EXPECT_TRUE(facts.remarks.empty());
}

TEST(RunObserver, SaysThatItLeftOutProcessesWithoutMaker) {
  const RunFacts facts = observed({"5 chdir(\"a\") = 0", "9 mkdir(\"x\", 0777) = 0"});
  EXPECT_TRUE(facts.made.empty());
  EXPECT_EQ(facts.remarks.size(), 1U);
}

TEST(RunObserver, PutsLinesTogetherThatOthersStandBetween) {
  const RunFacts facts = observed({"5 vfork( <unfinished ...>", "6 mkdir(\"x\", <unfinished ...>",
                                   "5 <... vfork resumed>) = 6", "6 <... mkdir resumed> 0777) = 0"});
  EXPECT_EQ(facts.made, Paths{"/w/x"});
}

TEST(RunObserver, FollowsAThreadThatExecutesInThePlaceOfOthers) {
  const RunFacts facts =
      observed({"5 clone(child_stack=0x7f, flags=0x3d0f00) = 6", "5 futex(0x7f <unfinished ...>",
                "6 execve(\"/a\", 0x7f, 0x7e <pid changed to 5 ...>", "5 <... futex resumed>) = ?",
                "5 +++ superseded by execve in pid 6 +++", "5 <... execve resumed>) = -1 (errno 18446744073709551359)",
                "5 mkdir(\"x\", 0777) = 0"});
  EXPECT_EQ(facts.program, "/a");
  EXPECT_EQ(facts.made, Paths{"/w/x"});
}

TEST(RunObserver, UnderstandsNoHalves) {
  for (const char* line : {"5 <... kill resumed>) = 0", "5 kill(1", "kill(1, 2) = 0", "", "nonsense"}) {
    RunObserver observer("/w");
    EXPECT_EQ(observer.take(line), Outcome::NotUnderstood) << line;
  }
  RunObserver observer("/w");
  EXPECT_EQ(observer.take("5 kill(1,  <unfinished ...>"), Outcome::Taken);
  EXPECT_EQ(observer.take("5 <... tkill resumed>2) = 0"), Outcome::NotUnderstood);
}

TEST(RunObserver, RemembersNoMoreFactsThanItsLimit) {
  RunObserver observer("/w");
  const auto make = [&](std::size_t number) {
    return observer.take(traced("5 mkdir(\"" + std::to_string(number) + "\", 0777) = 0"));
  };
  for (std::size_t number = 0; number < limits::facts; ++number) ASSERT_EQ(make(number), Outcome::Taken);
  EXPECT_EQ(make(limits::facts), Outcome::TooMuch);
}

TEST(RunObserver, RemembersNoMoreWaitingCallsThanItsLimit) {
  RunObserver observer("/w");
  ASSERT_EQ(observer.take("5 kill(0, 0) = 0"), Outcome::Taken);
  for (std::size_t number = 0; number < limits::waitingCalls; ++number) {
    ASSERT_EQ(observer.take("6 kill(0, 0) = 0"), Outcome::Taken);
  }
  EXPECT_EQ(observer.take("6 kill(0, 0) = 0"), Outcome::TooMuch);
}

TEST(RunObserver, NamesTheCallsThatItReads) {
  const auto calls = RunObserver::calls();
  EXPECT_TRUE(std::ranges::is_sorted(calls));
  for (const char* name : {"openat", "connect", "execve", "ptrace"}) {
    EXPECT_NE(std::ranges::find(calls, name), calls.end()) << name;
  }
}

}  // namespace
}  // namespace vanto::learning
