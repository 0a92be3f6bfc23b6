// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ProcessRecords.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "process/StartTime.h"
#include "support/TemporaryDirectory.h"

namespace vanto::manager {
namespace {

struct ProcessRecordsTest : testing::Test {
  ProcessRecordsTest() {
    const Fd directory(open(place.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_EQ(records.open(directory.get()), 0);
  }
  [[nodiscard]] std::string file(const std::string& name) const { return place / ("processes/" + name); }

  const test::TemporaryDirectory place;
  ProcessRecords records;
};

TEST_F(ProcessRecordsTest, AreReadAsTheyWereWritten) {
  ASSERT_EQ(records.put(getpid(), "org.example.echo"), 0);
  const std::vector<ProcessRecord> read = records.read();
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].pid, getpid());
  std::uint64_t startTime = 0;
  ASSERT_TRUE(readProcessStartTime(getpid(), startTime));
  EXPECT_EQ(read[0].startTime, startTime);
  EXPECT_EQ(read[0].name, "org.example.echo");
  EXPECT_EQ(std::filesystem::file_size(file(std::to_string(getpid()))), 16U + 16U);
  records.remove(getpid());
  EXPECT_TRUE(records.read().empty());
}

TEST_F(ProcessRecordsTest, AProcessThatIsGoneIsNotWrittenDown) {
  EXPECT_NE(records.put(0x3fffffff, "org.example.echo"), 0);
  EXPECT_TRUE(std::filesystem::is_empty(place / "processes"));
}

TEST_F(ProcessRecordsTest, OneThatCannotBeWrittenIsAnErrorAndLeavesNothing) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto formerHandler = signal(SIGXFSZ, SIG_IGN);
  // No room for anything, and for a part.
  for (const auto& [room, error] : {std::pair<rlim_t, int>{0, EFBIG}, {10, ENOSPC}}) {
    const rlimit limit{room, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const int result = records.put(getpid(), "org.example.echo");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(result, error);
    EXPECT_TRUE(std::filesystem::is_empty(place / "processes"));
  }
  signal(SIGXFSZ, formerHandler);
  std::filesystem::create_directory(file(".new"));
  EXPECT_EQ(records.put(getpid(), "org.example.echo"), EISDIR);
}

TEST_F(ProcessRecordsTest, WhatIsNoRecordIsRemoved) {
  std::ofstream(file("12")) << "short";
  std::ofstream(file("13")) << std::string(16, '\x7f');
  std::ofstream(file(".new")) << "left";
  std::ofstream(file("14")) << std::string(5'000, 'x');
  std::filesystem::create_symlink("/etc/passwd", file("15"));
  ASSERT_EQ(mkfifo(file("16").c_str(), 0600), 0);
  EXPECT_TRUE(records.read().empty());
  EXPECT_TRUE(std::filesystem::is_empty(place / "processes"));
}

TEST_F(ProcessRecordsTest, TheFolderMayBeALinkToNowhereElse) {
  const test::TemporaryDirectory other;
  std::filesystem::create_directory_symlink(place.path(), other / "processes");
  const Fd directory(open(other.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ProcessRecords linked;
  EXPECT_NE(linked.open(directory.get()), 0);
}

}  // namespace
}  // namespace vanto::manager
