// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Handover.h"

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Child.h"

namespace vanto::test {
namespace {

/// What reading the variables comes to in a process with the descriptors 0 to 69: the error, the number of listeners
/// and the status pipe.
std::string read(std::vector<std::string> variables) {
  const testing::ChildOutcome outcome = testing::runInChild([&variables](const testing::ChildReport& report) {
    for (std::string& variable : variables) {
      if (variable == "LISTEN_PID=own") variable = "LISTEN_PID=" + std::to_string(getpid());
    }
    std::vector<char*> environment;
    for (std::string& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);
    for (int to = 3; to < 70; to++) {
      if (fcntl(to, F_GETFD) == -1) dup2(0, to);
    }
    Handover handover;
    const Failure failure = readHandover(environment.data(), handover);
    if (handover.status >= 0) {
      EXPECT_EQ(fcntl(handover.status, F_GETFD), FD_CLOEXEC);
    }
    report(std::to_string(failure.error) + " " + std::to_string(handover.listeners) + " " +
           std::to_string(handover.status));
  });
  return outcome.end == "exit status 0" && outcome.lines.size() == 1 ? outcome.lines[0] : outcome.end;
}

const std::string invalid = std::to_string(EINVAL);
const std::string closed = std::to_string(EBADF);

TEST(Handover, IsEmptyWithoutVariables) {
  EXPECT_EQ(read({}), "0 0 -1");
  EXPECT_EQ(read({"LISTEN_FDS=0"}), "0 0 -1");
}

TEST(Handover, TakesUpToSixtyFourDescriptors) {
  EXPECT_EQ(read({"LISTEN_FDS=1"}), "0 1 -1");
  EXPECT_EQ(read({"LISTEN_FDS=64"}), "0 64 -1");
  EXPECT_EQ(read({"LISTEN_FDS=65"}), invalid + " 0 -1");
}

TEST(Handover, RefusesWhatIsNoNumber) {
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "1x", "0x1", "99999999999999999999"}) {
    EXPECT_EQ(read({std::string("LISTEN_FDS=") + text}), invalid + " 0 -1") << text;
    EXPECT_EQ(read({std::string("VANTO_EXEC_STATUS=") + text}), invalid + " 0 -1") << text;
  }
}

TEST(Handover, LeavesWhatIsForAnotherProcess) {
  EXPECT_EQ(read({"LISTEN_FDS=1", "LISTEN_PID=own"}), "0 1 -1");
  EXPECT_EQ(read({"LISTEN_FDS=1", "LISTEN_PID=1"}), "0 0 -1");
  EXPECT_EQ(read({"LISTEN_FDS=wrong", "LISTEN_PID=1"}), "0 0 -1");
  EXPECT_EQ(read({"LISTEN_FDS=1", "LISTEN_PID="}), "0 0 -1");
}

TEST(Handover, TakesAStatusPipeThatIsNotForTheService) {
  EXPECT_EQ(read({"VANTO_EXEC_STATUS=3"}), "0 0 3");
  EXPECT_EQ(read({"VANTO_EXEC_STATUS=4", "LISTEN_FDS=1"}), "0 1 4");
  EXPECT_EQ(read({"VANTO_EXEC_STATUS=3", "LISTEN_FDS=1"}), invalid + " 1 -1");
  EXPECT_EQ(read({"VANTO_EXEC_STATUS=2"}), invalid + " 0 -1");
  EXPECT_EQ(read({"VANTO_EXEC_STATUS=800"}), closed + " 0 -1");
}

TEST(Handover, HasItsStatusPipeWhenTheListenersAreWrong) {
  EXPECT_EQ(read({"VANTO_EXEC_STATUS=5", "LISTEN_FDS=wrong"}), invalid + " 0 5");
}

}  // namespace
}  // namespace vanto::test
