// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Jobs.h"

#include <filesystem>

#include <sys/resource.h>

#include "programs/tolvend/JobSamples.h"
#include "programs/tolvend/ManagerWorld.h"
#include "tolvend/JobIntake.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

using namespace manager;
constexpr const char* echo = "org.example.echo";

TEST(Jobs, AreLoadedReplacedAndUnloaded) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              Jobs& jobs = *world.jobs;
              jobs.observe([report](const std::string& label) {
                report(label + (world.jobs->find(label) != nullptr ? " is there" : " is gone"));
                finish();
              });
              EXPECT_EQ(jobs.load(ManagerWorld::job(echo)).error, "");
              EXPECT_TRUE(world.client(echo));
              EXPECT_TRUE(std::filesystem::exists(world.directory / "jobs/org.example.echo"));
              EXPECT_FALSE(jobs.load(ManagerWorld::job(echo)).hasReplaced);
              EXPECT_TRUE(jobs.load(ManagerWorld::job(echo, "/other")).hasReplaced);
              EXPECT_EQ(jobs.find(echo)->job().program, "/other");
              Job multiple = ManagerWorld::job(echo, "/third");
              multiple.isMultiple = true;
              EXPECT_NE(jobs.load(multiple).error, "");
              EXPECT_EQ(jobs.find(echo)->job().program, "/other");
              EXPECT_EQ(jobs.unload(echo).error, "");
              EXPECT_EQ(jobs.find(echo), nullptr);
              EXPECT_FALSE(world.client(echo));
              EXPECT_FALSE(std::filesystem::exists(world.directory / "jobs/org.example.echo"));
            }),
            std::vector<std::string>{"org.example.echo is gone"});
}

TEST(Jobs, AreRestoredFromDisk) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                Job job;
                EXPECT_EQ(takeJob(goodJob().get(), Domain::User, job), "");
                EXPECT_FALSE(world.store.putJob(job));
                EXPECT_FALSE(world.store.putHeld(job.label));
                EXPECT_EQ(world.jobs->restore(), std::vector<std::string>{});
                ASSERT_NE(world.jobs->find(job.label), nullptr);
                EXPECT_EQ(world.jobs->find(job.label)->state(), LifeCycle::State::Held);
                EXPECT_TRUE(world.jobs->find(job.label)->hasBegun());
                finish();
              }).empty());
}

TEST(Jobs, LookAfterTheSocketThatWasTouched) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                Jobs& jobs = *world.jobs;
                for (const char* label : {echo, "org.example.other"}) {
                  EXPECT_EQ(jobs.load(ManagerWorld::job(label)).error, "");
                  std::filesystem::remove(world.directory / label);
                }
                jobs.fileTouched("org.example.unknown");
                jobs.fileTouched(echo);
                EXPECT_TRUE(world.client(echo));
                EXPECT_FALSE(world.client("org.example.other"));
                jobs.fileTouched("");
                EXPECT_TRUE(world.client("org.example.other"));
                finish();
              }).empty());
}

TEST(Jobs, AreLimitedInNumber) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                rlimit descriptors{};
                ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
                ASSERT_GT(descriptors.rlim_max, limits::managerJobs + 100);
                descriptors.rlim_cur = descriptors.rlim_max;
                ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &descriptors), 0);
                ManagerWorld world(alarms);
                for (std::size_t i = 0; i < limits::managerJobs; i++) {
                  ASSERT_EQ(world.jobs->load(ManagerWorld::job("org.example.job" + std::to_string(i))).error, "") << i;
                }
                EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error,
                          "the manager has as many jobs as it takes; unload one first");
                EXPECT_EQ(world.jobs->find(echo), nullptr);
                EXPECT_FALSE(std::filesystem::exists(world.directory / "jobs/org.example.echo"));
                EXPECT_EQ(world.jobs->unload("org.example.job7").error, "");
                EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error, "");
                finish();
              }).empty());
}

TEST(Jobs, AreHeldOnDiskUntilTheyAreStartedOrRestarted) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                Jobs& jobs = *world.jobs;
                const std::string mark = world.directory / "held/org.example.echo";
                EXPECT_EQ(jobs.load(ManagerWorld::job(echo)).error, "");
                for (Jobs::Result (Jobs::*release)(JobController&) : {&Jobs::start, &Jobs::restart}) {
                  EXPECT_EQ(jobs.hold(*jobs.find(echo)).error, "");
                  EXPECT_TRUE(std::filesystem::exists(mark));
                  EXPECT_EQ((jobs.*release)(*jobs.find(echo)).error, "");
                  EXPECT_FALSE(std::filesystem::exists(mark));
                }
                finish();
              }).empty());
}

TEST(Jobs, OneThatCannotBeKeptLeavesNothing) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                std::filesystem::create_directory(world.directory / "jobs/org.example.echo");
                EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error,
                          "jobs/org.example.echo: Is a directory (error 21)");
                EXPECT_EQ(world.jobs->find(echo), nullptr);
                EXPECT_FALSE(std::filesystem::exists(world.directory / "org.example.echo"));
                EXPECT_FALSE(std::filesystem::exists(world.directory / "sockets/org.example.echo"));
                finish();
              }).empty());
}

TEST(Jobs, NoneIsLoadedWhenTheyAreRetired) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error, "");
                world.jobs->retireAll();
                EXPECT_TRUE(world.jobs->isEmpty());
                EXPECT_TRUE(std::filesystem::exists(world.directory / "jobs/org.example.echo"));
                EXPECT_EQ(world.jobs->load(ManagerWorld::job(echo)).error, "the manager is ending");
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test
