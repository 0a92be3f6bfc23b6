// SPDX-License-Identifier: Apache-2.0
#include "support/LogCapture.h"

#include <cstdarg>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <syslog.h>

namespace vanto::testing {
namespace {

void logThroughList(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

TEST(LogCapture, AcceptsTheLinesThatAreExpectedInTheirOrder) {
  LogCapture log;
  log.expect(LOG_ERR, "one 1");
  syslog(LOG_ERR, "one %d", 1);
  logThroughList(LOG_NOTICE, "%s", "two");
  log.expect(LOG_NOTICE, "two");
}

TEST(LogCapture, FailsTheTestForALineThatNobodyExpects) {
  EXPECT_NONFATAL_FAILURE(
      {
        LogCapture log;
        syslog(LOG_ERR, "unexpected");
      },
      "lines in the log");
  EXPECT_NONFATAL_FAILURE(syslog(LOG_ERR, "unexpected"), "a line in the log that nobody expects: 3 unexpected");
}

TEST(LogCapture, FailsTheTestForALineThatDoesNotCome) {
  EXPECT_NONFATAL_FAILURE(
      {
        LogCapture log;
        log.expect(LOG_ERR, "missing");
      },
      "lines in the log");
}

TEST(LogCapture, FailsTheTestForAnotherPriorityOrOrder) {
  EXPECT_NONFATAL_FAILURE(
      {
        LogCapture log;
        log.expect(LOG_NOTICE, "line");
        syslog(LOG_ERR, "line");
      },
      "lines in the log");
  EXPECT_NONFATAL_FAILURE(
      {
        LogCapture log;
        log.expect({{LOG_ERR, "a"}, {LOG_ERR, "b"}});
        syslog(LOG_ERR, "b");
        syslog(LOG_ERR, "a");
      },
      "lines in the log");
}

TEST(LogCapture, GivesTheLinesAway) {
  LogCapture log;
  syslog(LOG_ERR, "a");
  syslog(LOG_DEBUG, "b");
  EXPECT_EQ(log.take(), (std::vector<LogLine>{{LOG_ERR, "a"}, {LOG_DEBUG, "b"}}));
}

TEST(LogCapture, KeepsLongLinesWhole) {
  LogCapture log;
  const std::string text(100'000, 'a');
  syslog(LOG_ERR, "%s", text.c_str());
  log.expect(LOG_ERR, text);
}

}  // namespace
}  // namespace vanto::testing
