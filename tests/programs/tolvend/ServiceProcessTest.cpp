// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ServiceProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>

#include "dispatch/Workers.h"
#include "programs/tolvend/ManagerWorld.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

using namespace manager;

/// Reports what it is told, and ends the test with the process.
class Owner final : public ServiceProcessOwner {
 public:
  Owner(const testing::ChildReport& report, LogRing& log) : report_(report), log_(log) {}

  void executed(InstanceId) override { report_("executed"); }
  void executionFailed(InstanceId, const StartFailure& failure) override {
    report_(std::string(stageName(failure.stage)) + " " + std::to_string(failure.error));
  }
  void said(InstanceId, ManagerRecordKind kind) override {
    report_("said " + std::to_string(static_cast<unsigned>(kind)));
    if (whenHeard != nullptr) whenHeard->terminate();
  }
  void sentReceipt(InstanceId, std::string_view receipt) override { report_("receipt " + std::string(receipt)); }
  void ended(InstanceId, Ending ending) override {
    report_(log_.lines().empty() ? "no log" : "log");
    report_((ending.kind == Ending::Kind::Exited ? "exited " : "signal ") + std::to_string(ending.value));
    finish();
  }

  /// Asked to end when it says something.
  ServiceProcess* whenHeard = nullptr;

 private:
  const testing::ChildReport report_;
  LogRing& log_;
};

/// What is told of a process that executes `given`, a path or lines for a speaker, which `act` may do something to.
std::vector<std::string> storyOf(const char* given, void (*act)(ServiceProcess&) = nullptr) {
  return runWithEvents([=](const auto& report, Alarms& alarms) {
    static ManagerWorld world(alarms);
    static LogRing log;
    static Owner owner(report, log);
    static ServiceProcess process(owner, alarms, 1, log);
    owner.whenHeard = &process;
    static PublishedSocket listener;
    EXPECT_EQ(listener.open(world.openAt(""), "name"), VANTO_ERROR_NONE);
    StartFailure failure;
    const std::string program = *given == '/' ? given : world.speaker(given);
    EXPECT_TRUE(process.start(world.spawn, {program.c_str(), "name", listener.descriptor(), 0}, failure));
    EXPECT_GT(process.pid(), 0);
    EXPECT_GT(process.since(), 0U);
    if (act != nullptr) act(process);
  });
}

using Lines = std::vector<std::string>;

TEST(ServiceProcess, TellsTheStoryInItsOrder) {
  EXPECT_EQ(storyOf(VANTO_TEST_PROBE), (Lines{"executed", "log", "exited 0"}));
}

TEST(ServiceProcess, TellsWhyNothingWasExecuted) {
  EXPECT_EQ(storyOf("/nowhere/program"), (Lines{"executable 2", "log", "exited 127"}));
}

TEST(ServiceProcess, HandsOnTheReceiptBeforeItListens) {
  EXPECT_EQ(storyOf("level full\n\nlistening\n"),
            (Lines{"executed", "receipt level full", "", "said 16", "no log", "signal 15"}));
}

/// Why a test of the size of writes has no meaning here; else null.
const char* whyWritesAreOtherwise() {
  int size = 0;
  std::ifstream("/proc/sys/net/core/wmem_default") >> size;
  return size > 150'013 && size < 1 << 20 ? nullptr : "the buffers of sockets have another size here";
}

TEST(ServiceProcess, HasWholeWritesInItsLogUpToTheSizeOfTheSocket) {
  if (const char* why = whyWritesAreOtherwise()) GTEST_SKIP() << why;
  const Lines lines = runWithEvents([](const auto& report, Alarms& alarms) {
    static ManagerWorld world(alarms);
    static LogRing log;
    static Owner owner(report, log);
    static ServiceProcess process(owner, alarms, 1, log);
    owner.whenHeard = &process;
    static PublishedSocket listener;
    EXPECT_EQ(listener.open(world.openAt(""), "name"), VANTO_ERROR_NONE);
    log.follow([report](const LogLine* line) {
      if (line->text.size() != 999) report(line->text);
    });
    StartFailure failure;
    const std::string program = world.speaker("much\nlistening\n");
    EXPECT_TRUE(process.start(world.spawn, {program.c_str(), "name", listener.descriptor(), 0}, failure));
  });
  const auto line = std::ranges::find(lines, "the last one");
  EXPECT_NE(line, lines.end()) << "it was cut";
  EXPECT_EQ(lines.back(), "signal 15") << "a write that is too large, or opening what is a socket, has had success";
}

TEST(ServiceProcess, MayBeOneThatKnowsNothingOfTheLink) {
  EXPECT_EQ(storyOf("/bin/cat", [](ServiceProcess& process) { process.letLeave(); }),
            (Lines{"executed", "no log", "exited 0"}));
}

TEST(ServiceProcess, IsTerminatedAndKilled) {
  const Lines terminated = storyOf(VANTO_TEST_PROBE, [](ServiceProcess& process) { process.terminate(); });
  EXPECT_EQ(terminated.back(), "signal 15");
  const Lines killed = storyOf(VANTO_TEST_PROBE, [](ServiceProcess& process) { process.kill(); });
  EXPECT_EQ(killed.back(), "signal 9");
}

TEST(ServiceProcess, IsReadNoFasterThanAServiceHasToSpeak) {
  const Lines told = runWithEvents([](const auto& report, Alarms& alarms) {
    static ManagerWorld world(alarms);
    static LogRing log;
    static int heard = 0;
    class Counter final : public ServiceProcessOwner {
      void executed(InstanceId) override {}
      void executionFailed(InstanceId, const StartFailure&) override {}
      void said(InstanceId, ManagerRecordKind) override { ++heard; }
      void sentReceipt(InstanceId, std::string_view) override {}
      void ended(InstanceId, Ending ending) override {
        EXPECT_EQ(ending.value, SIGKILL);
        finish();
      }
    };
    static Counter owner;
    static ServiceProcess process(owner, alarms, 1, log);
    static PublishedSocket listener;
    EXPECT_EQ(listener.open(world.openAt(""), "name"), VANTO_ERROR_NONE);
    StartFailure failure;
    const std::string program = world.speaker("for ever\n");
    EXPECT_TRUE(process.start(world.spawn, {program.c_str(), "name", listener.descriptor(), 0}, failure));
    // Into the second second, for which it is read again.
    static const std::uint64_t begin = monotonicNow();
    static Alarm look(alarms, [report] {
      const auto seconds = static_cast<int>((monotonicNow() - begin) / 1'000'000'000) + 1;
      EXPECT_GT(heard, limits::managerLinkRecords);
      EXPECT_LE(heard, limits::managerLinkRecords * seconds);
      for (const LogLine& line : log.lines()) report(line.text);
      process.kill();
    });
    look.set(begin + 1'500'000'000);
  });
  EXPECT_EQ(told, Lines{"the service says more than 64 things a second to its manager, which takes its time"});
}

TEST(ServiceProcess, SaysWhyItCannotBeMade) {
  EXPECT_TRUE(runWithEvents([](const auto& report, Alarms& alarms) {
                ManagerWorld world(alarms);
                world.spawn.proxy = "/nowhere/proxy";
                LogRing log;
                Owner owner(report, log);
                ServiceProcess process(owner, alarms, 1, log);
                StartFailure failure;
                EXPECT_FALSE(process.start(world.spawn, {"/program", "name", 0, 0}, failure));
                EXPECT_EQ(failure.stage, StartFailure::Stage::Proxy);
                EXPECT_EQ(failure.error, ENOENT);
                EXPECT_GT(failure.time, 0U);
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test
