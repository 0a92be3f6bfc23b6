// SPDX-License-Identifier: Apache-2.0
#include "tolvend/FormerProcesses.h"

#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>

#include "programs/tolvend/EventChild.h"
#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

using manager::FormerProcesses;
using manager::ProcessRecords;

/// A process that ends when asked, or not; ready when this returns.
pid_t startProcess(bool shallIgnore) {
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd reading(ends[0]);
  Fd writing(ends[1]);
  const pid_t pid = fork();
  if (pid == 0) {
    if (shallIgnore) std::signal(SIGTERM, SIG_IGN);
    writing.reset();
    for (;;) pause();
  }
  writing.reset();
  char byte = 0;
  EXPECT_EQ(read(reading.get(), &byte, 1), 0);
  return pid;
}

std::string howItEnded(pid_t pid) {
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status)) : "by itself";
}

struct FormerProcessesTest : ::testing::Test {
  /// Ends a process through its record.
  static std::vector<std::string> end(bool shallIgnore) {
    return runWithEvents([=](const auto& report, manager::Alarms& alarms) {
      static const TemporaryDirectory place;
      static ProcessRecords records;
      const Fd directory(open(place.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      EXPECT_EQ(records.open(directory.get()), 0);
      static const pid_t pid = startProcess(shallIgnore);
      EXPECT_EQ(records.put(pid, "org.example.echo"), 0);
      static FormerProcesses former(alarms, records, 100'000'000);
      former.end([report] {
        EXPECT_TRUE(former.isEmpty());
        EXPECT_FALSE(former.hasAny("org.example.echo"));
        EXPECT_TRUE(records.read().empty());
        report(howItEnded(pid));
        finish();
      });
      EXPECT_TRUE(former.hasAny("org.example.echo"));
      EXPECT_FALSE(former.hasAny("org.example.other"));
    });
  }
};

TEST_F(FormerProcessesTest, AreAskedToEnd) {
  EXPECT_EQ(end(false), std::vector<std::string>{"signal 15"});
}

TEST_F(FormerProcessesTest, AreKilledWhenTheyDoNot) {
  EXPECT_EQ(end(true), std::vector<std::string>{"signal 9"});
}

TEST_F(FormerProcessesTest, AnotherProcessOfTheSameNumberIsLeftAlone) {
  EXPECT_TRUE(runWithEvents([](const auto&, manager::Alarms& alarms) {
                const TemporaryDirectory place;
                ProcessRecords records;
                const Fd directory(open(place.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
                EXPECT_EQ(records.open(directory.get()), 0);
                const std::string file = place / ("processes/" + std::to_string(getpid()));
                const std::uint64_t numbers[] = {static_cast<std::uint64_t>(getpid()), 1};
                const Fd written(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
                EXPECT_EQ(write(written.get(), numbers, sizeof numbers), static_cast<ssize_t>(sizeof numbers));
                FormerProcesses former(alarms, records, 1);
                former.end([] {});
                EXPECT_TRUE(former.isEmpty());
                EXPECT_TRUE(records.read().empty());
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test
