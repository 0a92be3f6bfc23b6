// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Failure.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Child.h"

namespace vanto::test {
namespace {

TEST(Failure, HasADocumentedExitStatus) {
  EXPECT_EQ(exitStatusOf({ExecStage::Call, EINVAL}), 2);
  EXPECT_EQ(exitStatusOf({ExecStage::Handover, EBADF}), 2);
  EXPECT_EQ(exitStatusOf({ExecStage::Descriptors, ENOENT}), 125);
  EXPECT_EQ(exitStatusOf({ExecStage::State, EPERM}), 125);
  EXPECT_EQ(exitStatusOf({ExecStage::Executable, ENOENT}), 127);
  EXPECT_EQ(exitStatusOf({ExecStage::Executable, ENOTDIR}), 127);
  EXPECT_EQ(exitStatusOf({ExecStage::Executable, EACCES}), 126);
  EXPECT_EQ(exitStatusOf({ExecStage::Execution, ENOENT}), 126);
}

TEST(Failure, IsRecordedInEightBytesAndThenSaidInOneLine) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport& report) {
    int record[2];
    int message[2];
    // Not blocking, so that a pipe that is not closed is an error.
    ASSERT_EQ(pipe2(record, O_NONBLOCK) | pipe(message), 0);
    dup2(message[1], STDERR_FILENO);
    vanto::report({ExecStage::State, 70000, "is wrong", "mend it"}, "/a", record[1]);
    unsigned char bytes[16];
    ASSERT_EQ(read(record[0], bytes, sizeof bytes), 8);
    ExecRecord told;
    std::memcpy(&told, bytes, sizeof told);
    EXPECT_EQ(static_cast<int>(told.stage), 4);
    EXPECT_EQ(told.error, 70000);
    // The pipe is closed: a manager sees its end.
    EXPECT_EQ(::read(record[0], bytes, sizeof bytes), 0);
    char text[200];
    const ssize_t size = ::read(message[0], text, sizeof text);
    report(std::string_view(text, static_cast<std::size_t>(size - 1)));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  ASSERT_EQ(outcome.lines.size(), 1U);
  EXPECT_EQ(outcome.lines[0], "vantoproxy: /a: is wrong (error 70000); mend it");
}

}  // namespace
}  // namespace vanto::test
