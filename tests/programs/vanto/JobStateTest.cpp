// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobState.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"

namespace vanto::tool {
namespace {

using testing::FakeManager;
using testing::objectOf;

TEST(JobState, HasAllThatIsTold) {
  const test::Held object = objectOf(
      R"({"label": "l", "name": "n", "program": "p", "state": "pausing",
          "instances": [{"pid": 1, "state": "a", "since": 2}, {"pid": 3, "state": "b", "since": 4, "confinement": "full", "receipt": "r"}],
          "multiple": true, "starts": 5, "failures": 6, "retry": 7,
          "failure": {"stage": "serving", "text": "t", "time": 8},
          "socket": {"text": "s", "time": 9, "published": true}})");
  ReplyReader reader(object);
  const JobState job = JobState::read(reader);
  EXPECT_EQ(reader.problem(), "");
  EXPECT_EQ(job.label + job.name + job.program + job.state, "lnppausing");
  ASSERT_EQ(job.instances.size(), 2U);
  EXPECT_EQ(job.instances[1].pid, 3);
  EXPECT_EQ(job.instances[1].state, "b");
  EXPECT_EQ(job.instances[1].since, 4);
  EXPECT_EQ(job.instances[0].confinement, std::nullopt);
  EXPECT_EQ(job.instances[1].confinement, "full");
  EXPECT_EQ(job.instances[0].receipt, "");
  EXPECT_EQ(job.instances[1].receipt, "r");
  EXPECT_TRUE(job.isMultiple);
  EXPECT_EQ(job.starts, 5);
  EXPECT_EQ(job.failures, 6);
  EXPECT_EQ(job.retry, 7);
  EXPECT_EQ(job.failure.value().stage, "serving");
  EXPECT_EQ(job.socketLoss.value().text, "s");
  EXPECT_EQ(job.socketLoss->time, 9);
  EXPECT_TRUE(job.socketLoss->isMended);
}

TEST(JobState, IsReadOfEachJob) {
  const test::Held object = objectOf(FakeManager::status({FakeManager::job("a"), FakeManager::runningJob("b")}));
  ReplyReader reader(object);
  const std::vector<JobState> jobs = JobState::readAll(reader);
  EXPECT_EQ(reader.problem(), "");
  ASSERT_EQ(jobs.size(), 2U);
  EXPECT_EQ(jobs[0].label, "a");
  EXPECT_FALSE(jobs[0].failure);
  EXPECT_FALSE(jobs[0].socketLoss);
  EXPECT_EQ(jobs[1].instances.at(0).pid, 4321);
}

TEST(JobState, KnowsWhichOfItsProcessesIsConfinedLeast) {
  JobState job;
  EXPECT_EQ(job.weakestInstance(), nullptr);
  job.instances = {{1, "running", 0}};
  EXPECT_EQ(job.weakestInstance(), nullptr);
  for (const char* level : {"full", "reduced", "full", "none"}) {
    job.instances.push_back({job.instances.back().pid + 1, "running", 0, level});
  }
  EXPECT_EQ(job.weakestInstance()->pid, 5);
  job.instances.pop_back();
  EXPECT_EQ(job.weakestInstance()->pid, 3);
}

TEST(JobState, IsNotReadOfAnythingElse) {
  const std::pair<std::string, const char*> replies[] = {
      {R"({"label": 1})", "no string \"label\""},
      {R"({"label": "a", "name": "a", "program": "p", "state": "x", "instances": [1]})",
       "no dictionary in \"instances\"[0]"},
      {FakeManager::job("a", R"(, "retry": true)"), "no int64 \"retry\""},
      {FakeManager::job("a", R"(, "failure": {"stage": "x"})"), "no string \"text\" in \"failure\""}};
  for (const auto& [json, problem] : replies) {
    const test::Held object = objectOf(json);
    ReplyReader reader(object);
    static_cast<void>(JobState::read(reader));
    EXPECT_EQ(reader.problem(), problem) << json;
  }
}

}  // namespace
}  // namespace vanto::tool
