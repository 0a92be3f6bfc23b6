// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobRow.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "vanto/LocalTime.h"

namespace vanto::tool {
namespace {

JobState jobWith(std::vector<JobState::Instance> instances) {
  JobState job;
  job.label = "org.example.\x1b";
  job.state = "running";
  job.starts = 3;
  job.failures = 1;
  job.instances = std::move(instances);
  return job;
}

TEST(JobRow, HasACellForEachColumn) {
  const JobState job = jobWith({{12, "running", currentTime() - 3'600'000'000'500}});
  EXPECT_EQ(JobRow::headline(DomainColumn::Hidden),
            (Row{"LABEL", "STATE", "PID", "SINCE", "CONFINED", "STARTS", "FAILURES", "LAST FAILURE"}));
  EXPECT_EQ(JobRow::of(job, ManagerDomain::User, DomainColumn::Hidden),
            (Row{"org.example.\\x1b", "running", "12", "1 h", "-", "3", "1", "-"}));
  EXPECT_EQ(JobRow::headline(DomainColumn::Shown).size(), 9U);
  EXPECT_EQ(JobRow::of(job, ManagerDomain::System, DomainColumn::Shown)[1], "system");
}

TEST(JobRow, CountsFurtherProcesses) {
  const std::int64_t now = currentTime();
  EXPECT_EQ(
      JobRow::of(jobWith({{12, "", now}, {13, "", now}, {14, "", now}}), ManagerDomain::User, DomainColumn::Hidden)[2],
      "12 +2");
}

TEST(JobRow, TellsTheLastFailure) {
  JobState job = jobWith({});
  job.failure.emplace().text = "serving: x\n";
  const Row row = JobRow::of(job, ManagerDomain::User, DomainColumn::Hidden);
  EXPECT_EQ(row, (Row{"org.example.\\x1b", "running", "-", "-", "-", "3", "1", "serving: x\\n"}));
}

TEST(JobRow, TellsThatNoClientCanCome) {
  JobState job = jobWith({});
  job.failure.emplace().text = "serving: x";
  job.socketLoss = JobState::SocketLoss{"the socket is gone\n", 5, false};
  EXPECT_EQ(JobRow::of(job, ManagerDomain::User, DomainColumn::Hidden).back(), "the socket is gone\\n");
  job.socketLoss->isMended = true;
  EXPECT_EQ(JobRow::of(job, ManagerDomain::User, DomainColumn::Hidden).back(), "serving: x");
}

TEST(JobRow, TellsTheWeakestConfinementOfItsProcesses) {
  const auto confined = [](const std::vector<std::optional<std::string>>& levels) {
    std::vector<JobState::Instance> instances;
    for (const auto& level : levels) instances.push_back({12, "running", 0, level});
    return JobRow::of(jobWith(instances), ManagerDomain::User, DomainColumn::Hidden)[4];
  };
  EXPECT_EQ(confined({"full"}), "full");
  EXPECT_EQ(confined({"full", "reduced", std::nullopt}), "reduced");
  EXPECT_EQ(confined({"none", "full"}), "none");
  EXPECT_EQ(confined({"full", "x\x1b"}), "x\\x1b");
  EXPECT_EQ(confined({std::nullopt}), "-");
}

TEST(JobRow, SaysThatAJobIsGone) {
  EXPECT_EQ(JobRow::removed("a", ManagerDomain::User, DomainColumn::Shown),
            (Row{"a", "user", "removed", "-", "-", "-", "-", "-", "-"}));
}

}  // namespace
}  // namespace vanto::tool
