// SPDX-License-Identifier: Apache-2.0

// The life cycles have tests of their own, and real processes theirs; here is what lies between.
#include "tolvend/JobController.h"

#include <csignal>

#include "programs/tolvend/ManagerWorld.h"

namespace vanto::test {
namespace {

using namespace manager;
using Lines = std::vector<std::string>;

/// A controller whose changes `look` is told of.
JobController& controllerOf(ManagerWorld& world, const Job& job, std::function<void(JobController&)> look) {
  static JobSurroundings surroundings = world.surroundings();
  static JobController* made = nullptr;
  static const auto told = std::move(look);
  made = new JobController(job, surroundings, [] { told(*made); });
  EXPECT_EQ(made->open(world.openAt(""), PublishedSocket::Access::Owner, PublishedSocket::Rival::Respect), "");
  return *made;
}

TEST(JobController, AStartThatFailsIsKnownWithItsProcess) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              JobController& job = controllerOf(world, world.job("org.example.echo"), [report](JobController& self) {
                if (self.failures() == 0 || !self.isEmpty()) return;
                report(failureText(*self.lastFailure()).substr(0, 37));
                EXPECT_GT(self.pidOf(*self.lastFailure()), 0);
                EXPECT_TRUE(world.children.empty());
                EXPECT_TRUE(world.records.read().empty());
                EXPECT_EQ(self.starts(), 1U);
                finish();
              });
              job.begin();
              job.start();
              EXPECT_EQ(world.children.size(), 1U);
            }),
            Lines{"executable: No such file or directory"});
}

TEST(JobController, BeforeItBeginsItIsHeldAtOnceAndStartsNothing) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job = controllerOf(world, world.job("org.example.echo"), [](JobController&) {});
                job.hold();
                EXPECT_FALSE(job.hasBegun());
                EXPECT_EQ(job.state(), LifeCycle::State::Held);
                job.start();
                EXPECT_EQ(job.state(), LifeCycle::State::Stopping);
                EXPECT_EQ(job.starts(), 0U);
                job.begin();
                EXPECT_TRUE(job.hasBegun());
                EXPECT_EQ(job.starts(), 1U);
                job.retire(StartFailure::Stage::Removed);
                EXPECT_FALSE(world.client("org.example.echo"));
                finish();
              }).empty());
}

TEST(JobController, ListsItsInstancesAndTheirLines) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                static ManagerWorld world(alarms);
                JobController& job =
                    controllerOf(world, world.job("org.example.echo", VANTO_TEST_PROBE), [](JobController& self) {
                      if (self.isEmpty() && self.starts() == 1) finish();
                    });
                job.begin();
                job.start();
                const std::vector<JobController::Instance> instances = job.instances();
                ASSERT_EQ(instances.size(), 1U);
                EXPECT_EQ(instances[0].state, InstanceRecord::State::Starting);
                EXPECT_FALSE(instances[0].isExecuted);
                job.addToLog(instances[0].pid, "its line");
                job.addToLog(getpid(), "another's");
                ASSERT_EQ(job.log().lines().size(), 1U);
                EXPECT_EQ(job.log().last()->text, "its line");
              }).empty());
}

}  // namespace
}  // namespace vanto::test
