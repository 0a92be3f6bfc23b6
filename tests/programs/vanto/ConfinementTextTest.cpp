// SPDX-License-Identifier: Apache-2.0
#include "vanto/ConfinementText.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

using Lines = std::vector<std::string>;

JobState jobWith(const char* level, const std::string& receipt) {
  JobState job;
  job.label = "a";
  job.instances = {{11, "running", 0, "full", "level full\n"}, {12, "running", 0, level, receipt}};
  return job;
}

TEST(ConfinementText, HasAllThatTheReceiptOfTheWeakestProcessTells) {
  EXPECT_EQ(
      confinementLinesOf(jobWith("reduced",
                                 "level reduced\nasked read ioctl\nenforced read\nwitness denied: list /\nmissing "
                                 "ioctl: too old\nwithheld rename: older\nabsent \"/no such\": not there\n")),
      (Lines{"  confined reduced: process 12", "  receipt  asked read ioctl", "  receipt  enforced read",
             "  receipt  witness denied: list /", "  receipt  missing ioctl: too old",
             "  receipt  withheld rename: older", "  receipt  absent \"/no such\": not there"}));
}

TEST(ConfinementText, SaysWhyAProfileWasNotEnteredAndNothingThatIsEmpty) {
  EXPECT_EQ(
      confinementLinesOf(jobWith("none", "level none\nerror no file; add it\nasked \nenforced \n\nwitness untested")),
      (Lines{"  confined none: process 12", "  receipt  error no file; add it", "  receipt  witness untested"}));
}

TEST(ConfinementText, NamesRightsTogetherThatAreMissingForOneReason) {
  EXPECT_EQ(
      confinementLinesOf(jobWith("none",
                                 "missing read: no: a\nmissing write: no: a\nmissing ioctl: b\nwithheld ioctl: b\n"
                                 "withheld rename: b\nmissing socket\nmissing signal\n")),
      (Lines{"  confined none: process 12", "  receipt  missing read write: no: a", "  receipt  missing ioctl: b",
             "  receipt  withheld ioctl: b", "  receipt  withheld rename: b", "  receipt  missing socket",
             "  receipt  missing signal"}));
}

TEST(ConfinementText, SaysThatThereIsNoReceipt) {
  EXPECT_EQ(
      confinementLinesOf(jobWith("none", "")),
      (Lines{"  confined none: process 12", "  receipt  none: it has no profile, or its library has told of none"}));
}

TEST(ConfinementText, IsEmptyWhereNothingIsKnown) {
  JobState job;
  EXPECT_EQ(confinementLinesOf(job), Lines{});
  job.instances = {{1, "starting", 0}};
  EXPECT_EQ(confinementLinesOf(job), Lines{});
}

TEST(ConfinementText, HasTenLinesAtMost) {
  std::string receipt = "level reduced\n";
  for (int line = 1; line <= 9; ++line) receipt += "absent /" + std::to_string(line) + ": gone\n";
  Lines lines = confinementLinesOf(jobWith("reduced", receipt));
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines.back(), "  receipt  absent /9: gone");
  lines = confinementLinesOf(jobWith("reduced", receipt + "absent /10: gone\n"));
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines[8], "  receipt  absent /8: gone");
  EXPECT_EQ(lines[9], "  receipt  and 2 lines more: vanto status --json a");
}

TEST(ConfinementText, IsFitForATerminal) {
  EXPECT_EQ(confinementLinesOf(jobWith("\x1b", "error \x1b[2J\n")),
            (Lines{"  confined \\x1b: process 12", "  receipt  error \\x1b[2J"}));
}

}  // namespace
}  // namespace vanto::tool
