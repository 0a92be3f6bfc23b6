// SPDX-License-Identifier: Apache-2.0
#include "learning/TraceLine.h"

#include "learning/limits.h"
#include "programs/learning/Traced.h"
#include "support/SampleFiles.h"

namespace vanto::learning {
namespace {

using testing::traced;

std::vector<std::string> linesOf(const test::SampleFile& file) {
  std::vector<std::string> lines(1);
  for (const std::uint8_t byte : file.content) {
    if (byte == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += static_cast<char>(byte);
    }
  }
  if (lines.back().empty()) lines.pop_back();
  return lines;
}

bool isUnderstood(const std::string& line) {
  return TraceLinePart::of(line) || TraceLine::of(line);
}

TEST(TraceLine, ReadsACallWithArgumentsAndResult) {
  const std::string text = traced("12    openat(-100</w>, \"a, b\", 0x80000) = 3</w/a, b>");
  const auto line = TraceLine::of(text);
  ASSERT_TRUE(line.has_value());
  EXPECT_EQ(line->process, 12);
  EXPECT_EQ(line->name, "openat");
  ASSERT_EQ(line->arguments.size(), 3U);
  EXPECT_EQ(line->argument(0).place()->path, "/w");
  EXPECT_EQ(line->argument(1).bytes(), "a, b");
  EXPECT_EQ(line->argument(2).number(), 0x80000);
  EXPECT_FALSE(line->argument(3).number().has_value());
  EXPECT_EQ(line->result.place()->path, "/w/a, b");
  EXPECT_TRUE(line->hasSucceeded());
}

TEST(TraceLine, ReadsErrorsAndCallsWithoutResult) {
  EXPECT_EQ(TraceLine::of("1 kill(2, 9) = -1 ESRCH (No such process)")->error, "ESRCH");
  EXPECT_EQ(TraceLine::of("1 vfork()    = ? ERESTARTNOINTR (To be restarted)")->error, "?");
  EXPECT_TRUE(TraceLine::of("1 ioctl(3, 1) = 0x5 (flags X)")->hasSucceeded());
}

TEST(TraceLine, ReadsTheEndOfProcesses) {
  EXPECT_EQ(TraceLine::of("5 +++ exited with 0 +++")->kind, TraceLine::Kind::End);
  EXPECT_EQ(TraceLine::of("5 +++ killed by SIGSEGV (core dumped) +++")->kind, TraceLine::Kind::End);
  const auto superseded = TraceLine::of("5 +++ superseded by execve in pid 6 +++");
  EXPECT_EQ(superseded->kind, TraceLine::Kind::Superseded);
  EXPECT_EQ(superseded->successor, 6);
}

TEST(TraceLine, IsCutByOtherProcesses) {
  const auto begin = TraceLinePart::of("7 kill(8,  <unfinished ...>");
  EXPECT_EQ(begin->kind, TraceLinePart::Kind::Begin);
  EXPECT_EQ(begin->text, "7 kill(8, ");
  EXPECT_EQ(TraceLinePart::of("7 execve(1, 2, 3 <pid changed to 6 ...>")->text, "7 execve(1, 2, 3");
  const auto rest = TraceLinePart::of("7 <... kill resumed>9) = 0");
  EXPECT_EQ(rest->kind, TraceLinePart::Kind::Rest);
  EXPECT_EQ(rest->name, "kill");
  EXPECT_EQ(rest->text, "9) = 0");
  EXPECT_FALSE(TraceLinePart::of("7 kill(8, 9) = 0").has_value());
}

TEST(TraceLine, IsRefusedAtEachLengthButItsOwn) {
  const std::string whole = traced("12 openat(-100</w>, \"a\", 0x80000) = -1 ENOENT (No such file)");
  ASSERT_TRUE(TraceLine::of(whole).has_value());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(TraceLine::of(whole.substr(0, length)).has_value()) << whole.substr(0, length);
  }
}

TEST(TraceLine, HasALimit) {
  const std::string end = ") = 0";
  std::string line = "1 f(" + std::string(limits::lineBytes - 4 - end.size(), 'a') + end;
  EXPECT_TRUE(TraceLine::of(line).has_value());
  line.insert(4, "a");
  EXPECT_FALSE(TraceLine::of(line).has_value());
}

TEST(TraceLine, JudgesTheSampleFilesAsTheirNamesSay) {
  const auto accepted = test::sampleFiles(VANTO_TRACE_SAMPLES, "accept-");
  const auto refused = test::sampleFiles(VANTO_TRACE_SAMPLES, "refuse-");
  EXPECT_FALSE(accepted.empty());
  EXPECT_FALSE(refused.empty());
  for (const auto& file : accepted) {
    for (const std::string& line : linesOf(file)) EXPECT_TRUE(isUnderstood(line)) << file.name << ": " << line;
  }
  for (const auto& file : refused) {
    for (const std::string& line : linesOf(file)) EXPECT_FALSE(isUnderstood(line)) << file.name << ": " << line;
  }
}

}  // namespace
}  // namespace vanto::learning
