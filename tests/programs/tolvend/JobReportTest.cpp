// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobReport.h"

#include <csignal>
#include <filesystem>
#include <memory>

#include "programs/tolvend/ManagerWorld.h"

namespace vanto::test {
namespace {

using namespace manager;

std::string describe(const Ref<vanto_object>& object) {
  const std::unique_ptr<char, void (*)(void*)> text(vanto_copy_description(object.get()), &std::free);
  return text.get();
}

TEST(JobReport, AStateHasWhatPeopleAskFor) {
  const std::vector<std::string> lines = runWithEvents([](const auto& report, Alarms& alarms) {
    ManagerWorld world(alarms);
    EXPECT_EQ(world.jobs->load(ManagerWorld::job("org.example.echo")).error, "");
    JobController& job = *world.jobs->find("org.example.echo");
    report(describe(jobState(job)));
    job.log().add({5, 7, std::string("a \x1b \\ line \xff\0\xc3\xa4\xe2\x82", 17)});
    report(describe(linesReport(job)));
    report(describe(whyReport(job)));
    StartFailure failure;
    failure.stage = StartFailure::Stage::Serving;
    failure.signal = 9;
    failure.ran = 3;
    failure.pause = 4;
    const Ref<vanto_object> told = failureReport(job, failure);
    EXPECT_EQ(vanto_int64_get_value(vanto_dictionary_get_value(told.get(), "signal")), 9);
    EXPECT_EQ(vanto_int64_get_value(vanto_dictionary_get_value(told.get(), "ran")), 3);
    EXPECT_EQ(vanto_int64_get_value(vanto_dictionary_get_value(told.get(), "pause")), 4);
    EXPECT_EQ(vanto_dictionary_get_value(told.get(), "status"), nullptr);
    EXPECT_EQ(vanto_dictionary_get_value(told.get(), "error"), nullptr);
    EXPECT_EQ(vanto_dictionary_get_value(told.get(), "pid"), nullptr);
    finish();
  });
  const std::string text = "a \\x1b \\\\ line \xef\xbf\xbd\xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\xef\xbf\xbd";
  EXPECT_EQ(lines, (std::vector<std::string>{
                       R"({"failures": 0, "instances": [], "label": "org.example.echo", "multiple": false, )"
                       R"("name": "org.example.echo", "program": "/nowhere/program", "starts": 0, "state": "resting"})",
                       R"([{"pid": 7, "text": ")" + text + R"(", "time": 5}])",
                       R"({"label": "org.example.echo", "lines": [{"pid": 7, "text": ")" + text +
                           R"(", "time": 5}], )"
                           R"("state": "resting"})"}));
}

std::string failureTextOf(const JobController& job) {
  const Ref<vanto_object> state = jobState(job);
  const vanto_object_t failure = vanto_dictionary_get_value(state.get(), "failure");
  const char* text = vanto_string_get_text(vanto_dictionary_get_value(failure, "text"));
  return text != nullptr ? text : "";
}

TEST(JobReport, AFailureTellsOfTheNextAttemptUntilItMayBe) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              EXPECT_EQ(world.jobs->load(ManagerWorld::job("org.example.echo", world.speaker("listening\n"))).error,
                        "");
              static JobController& job = *world.jobs->find("org.example.echo");
              world.jobs->observe([report](const std::string&) {
                for (const JobController::Instance& instance : job.instances()) {
                  if (instance.state == InstanceRecord::State::Running) kill(instance.pid, SIGKILL);
                }
                if (job.failures() == 0) return;
                const bool isTold = failureTextOf(job).find("; next attempt in 0.") != std::string::npos;
                report(std::string(stateName(job.state())) + (isTold ? " with" : " without"));
                if (job.state() != LifeCycle::State::Pausing) finish();
              });
              job.start();
            }),
            (std::vector<std::string>{"pausing with", "resting without"}));
}

TEST(JobReport, TellsOfASocketThatWasLost) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                ManagerWorld world(alarms);
                EXPECT_EQ(world.jobs->load(ManagerWorld::job("org.example.echo")).error, "");
                JobController& job = *world.jobs->find("org.example.echo");
                std::filesystem::remove(world.directory / "org.example.echo");
                job.lookAfterSocket();
                for (const Ref<vanto_object>& told : {jobState(job), whyReport(job)}) {
                  const vanto_object_t socket = vanto_dictionary_get_value(told.get(), "socket");
                  EXPECT_EQ(vanto_string_get_text(vanto_dictionary_get_value(socket, "text")), job.log().last()->text);
                  EXPECT_TRUE(vanto_bool_get_value(vanto_dictionary_get_value(socket, "published")));
                  EXPECT_EQ(
                      static_cast<std::uint64_t>(vanto_int64_get_value(vanto_dictionary_get_value(socket, "time"))),
                      job.log().last()->time);
                }
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test
