// SPDX-License-Identifier: Apache-2.0
#include "vanto/StatusBoard.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"

namespace vanto::tool {
namespace {

using testing::CapturedConsole;

JobState jobCalled(const char* label, const char* state = "resting") {
  JobState job;
  job.label = label;
  job.state = state;
  return job;
}

constexpr const char* headline = "LABEL  STATE    PID  SINCE  CONFINED  STARTS  FAILURES  LAST FAILURE\n";

TEST(StatusBoard, PrintsJobsByLabel) {
  CapturedConsole captured;
  StatusBoard board(captured.console(), DomainColumn::Hidden);
  board.set(ManagerDomain::User, jobCalled("b"));
  board.set(ManagerDomain::User, jobCalled("a"));
  board.set(ManagerDomain::User, jobCalled("b", "held"));
  board.print();
  EXPECT_EQ(captured.output(), std::string(headline) +
                                   "a      resting  -    -      -         0       0         -\n"
                                   "b      held     -    -      -         0       0         -\n");
}

TEST(StatusBoard, KeepsJobsOfOneLabelInTwoDomainsApart) {
  CapturedConsole captured;
  StatusBoard board(captured.console(), DomainColumn::Shown);
  board.set(ManagerDomain::User, jobCalled("a"));
  board.set(ManagerDomain::Session, jobCalled("a"));
  board.remove(ManagerDomain::User, "a");
  board.print();
  EXPECT_NE(captured.output().find("a      session  resting"), std::string::npos) << captured.output();
  EXPECT_EQ(captured.output().find("a      user"), std::string::npos) << captured.output();
}

TEST(StatusBoard, PrintsARowForAChange) {
  CapturedConsole captured;
  StatusBoard board(captured.console(), DomainColumn::Hidden);
  board.set(ManagerDomain::User, jobCalled("a"));
  board.print();
  board.set(ManagerDomain::User, jobCalled("a", "held"));
  board.printRow(ManagerDomain::User, "a");
  board.remove(ManagerDomain::User, "a");
  board.printRow(ManagerDomain::User, "a");
  EXPECT_TRUE(
      captured.output().ends_with("a      held     -    -      -         0       0         -\n"
                                  "a      removed  -    -      -         -       -         -\n"))
      << captured.output();
}

TEST(StatusBoard, RedrawsOverItself) {
  CapturedConsole captured(testing::plainTerminal);
  StatusBoard board(captured.console(), DomainColumn::Hidden);
  board.set(ManagerDomain::User, jobCalled("a"));
  board.print();
  board.set(ManagerDomain::User, jobCalled("b"));
  board.redraw();
  board.redraw();
  const std::string output = captured.output();
  EXPECT_NE(output.find("\x1b[2F\x1b[J"), output.npos) << output;
  EXPECT_NE(output.find("\x1b[3F\x1b[J"), output.npos) << output;
}

TEST(StatusBoard, CountsWhatHasNoRoomOnTheScreen) {
  Display screen = testing::plainTerminal;
  screen.lines = 6;
  CapturedConsole captured(screen);
  StatusBoard board(captured.console(), DomainColumn::Hidden);
  for (const char* label : {"a", "b", "c", "d", "e"}) board.set(ManagerDomain::User, jobCalled(label));
  board.print();
  board.redraw();
  const std::string output = captured.output();
  EXPECT_NE(output.find("and 2 more\n"), output.npos) << output;
  EXPECT_NE(output.find("\x1b[5F\x1b[J"), output.npos) << output;
}

}  // namespace
}  // namespace vanto::tool
