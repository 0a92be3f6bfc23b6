// SPDX-License-Identifier: Apache-2.0
#include "process/StartTime.h"

#include <string>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char fields[] = " S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 987654321 20 21\n";

std::uint64_t parsed(const std::string& text) {
  std::uint64_t value = 42;
  return vanto::parseProcessStartTime(text, value) ? value : 0;
}

bool isRefused(const std::string& text) {
  std::uint64_t value = 42;
  return !vanto::parseProcessStartTime(text, value) && value == 42;
}

TEST(StartTime, IsTheTwentySecondField) {
  EXPECT_EQ(parsed(std::string("7 (name)") + fields), 987654321U);
}

TEST(StartTime, IsFoundBehindAnyNameOfAProgram) {
  EXPECT_EQ(parsed(std::string("7 ()") + fields), 987654321U);
  EXPECT_EQ(parsed(std::string("7 (a) S 1 (b)") + fields), 987654321U);
  EXPECT_EQ(parsed(std::string("7 () R 1 2 3 4 5)") + fields), 987654321U);
  EXPECT_EQ(parsed(std::string("7 (((x\n)") + fields), 987654321U);
}

TEST(StartTime, IsNotFoundInOtherText) {
  EXPECT_TRUE(isRefused(""));
  EXPECT_TRUE(isRefused("7 (name"));
  EXPECT_TRUE(isRefused("7 (name) S 1 2 3"));
  EXPECT_TRUE(isRefused("7 (name) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 "));
  EXPECT_TRUE(isRefused("7 (name) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 12"));
  EXPECT_TRUE(isRefused("7 (name) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 x 20"));
  EXPECT_TRUE(isRefused("7 (name) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 99999999999999999999 20"));
}

TEST(StartTime, OfThisProcessIsItsOwnWhateverItsName) {
  std::uint64_t before = 0;
  ASSERT_TRUE(vanto::readProcessStartTime(getpid(), before));
  EXPECT_GT(before, 0U);
  char name[16];
  prctl(PR_GET_NAME, name);
  prctl(PR_SET_NAME, ") R 1 2 (");
  std::uint64_t after = 0;
  EXPECT_TRUE(vanto::readProcessStartTime(getpid(), after));
  prctl(PR_SET_NAME, name);
  EXPECT_EQ(after, before);
}

TEST(StartTime, OfAChildIsNotBeforeItsParents) {
  const pid_t child = fork();
  if (child == 0) {
    for (;;) pause();
  }
  std::uint64_t own = 0;
  std::uint64_t childs = 0;
  EXPECT_TRUE(vanto::readProcessStartTime(getpid(), own));
  EXPECT_TRUE(vanto::readProcessStartTime(child, childs));
  EXPECT_GE(childs, own);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(vanto::readProcessStartTime(child, childs));
}

TEST(StartTime, OfNoProcessIsNotRead) {
  std::uint64_t value = 42;
  EXPECT_FALSE(vanto::readProcessStartTime(0, value));
  EXPECT_FALSE(vanto::readProcessStartTime(-1, value));
  EXPECT_FALSE(vanto::readProcessStartTime(INT32_MAX, value));
  EXPECT_EQ(value, 42U);
}

}  // namespace
