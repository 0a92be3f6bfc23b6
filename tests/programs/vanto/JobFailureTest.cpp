// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobFailure.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"

namespace vanto::tool {
namespace {

JobFailure failureOf(const std::string& entries) {
  const test::Held object = testing::objectOf(R"({"stage": "s", "text": "t\u001b", "time": 9)" + entries + "}");
  ReplyReader reader(object);
  const JobFailure failure = JobFailure::read(reader);
  EXPECT_EQ(reader.problem(), "");
  return failure;
}

TEST(JobFailure, HasAllThatIsTold) {
  const JobFailure failure = failureOf(R"(, "error": 2, "status": 3, "signal": 4, "pause": 5, "pid": 6, "ran": 7)");
  EXPECT_EQ(failure.stage, "s");
  EXPECT_EQ(failure.time, 9);
  EXPECT_EQ(failure.error, 2);
  EXPECT_EQ(failure.status, 3);
  EXPECT_EQ(failure.signal, 4);
  EXPECT_EQ(failure.pause, 5);
  EXPECT_EQ(failure.pid, 6);
  EXPECT_EQ(failure.ran, 7);
  EXPECT_EQ(failureOf("").ran, std::nullopt);
}

TEST(JobFailure, NamesItsCause) {
  EXPECT_EQ(failureOf(R"(, "error": 2, "status": 127)").cause(), "No such file or directory (ENOENT, error 2)");
  EXPECT_EQ(failureOf(R"(, "signal": 11)").cause(), "ended by signal 11 (SIGSEGV: Segmentation fault)");
  EXPECT_EQ(failureOf(R"(, "status": 3)").cause(), "ended with exit status 3");
  EXPECT_EQ(failureOf(R"(, "error": 110)").cause(), "t\\x1b");
  EXPECT_EQ(failureOf("").cause(), "t\\x1b");
}

TEST(JobFailure, TakesNumbersThatNameNothing) {
  EXPECT_EQ(failureOf(R"(, "signal": 4294967307)").cause(), "ended by signal 4294967307");
  EXPECT_EQ(failureOf(R"(, "signal": -1)").cause(), "ended by signal -1");
  EXPECT_EQ(failureOf(R"(, "error": 99999)").cause(), "error 99999");
}

}  // namespace
}  // namespace vanto::tool
