// SPDX-License-Identifier: Apache-2.0
#include "vanto/Progress.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"

namespace vanto::tool {
namespace {

using testing::CapturedConsole;
using testing::plainTerminal;

TEST(Progress, IsShownAtOnceAndGoneAtTheEnd) {
  CapturedConsole captured({}, plainTerminal);
  {
    Progress progress(captured.console(), "reading services", 10);
    EXPECT_EQ(captured.messages(), "\rreading services: 0 of 10\x1b[K");
  }
  EXPECT_EQ(captured.messages(), "\rreading services: 0 of 10\x1b[K\r\x1b[K");
}

TEST(Progress, ComesBackAtTheNextStepAfterItWasHidden) {
  CapturedConsole captured({}, plainTerminal);
  Progress progress(captured.console(), "work", 10);
  progress.advance();
  progress.hide();
  progress.advance();
  EXPECT_TRUE(captured.messages().ends_with("\rwork: 2 of 10\x1b[K"));
}

TEST(Progress, IsShownNowhereButOnATerminal) {
  CapturedConsole captured(plainTerminal, {});
  {
    Progress progress(captured.console(), "work", 2);
    progress.advance();
    progress.hide();
  }
  EXPECT_EQ(captured.messages(), "");
  EXPECT_EQ(captured.output(), "");
}

TEST(Progress, IsNotWrittenForEveryStep) {
  CapturedConsole captured({}, plainTerminal);
  Progress progress(captured.console(), "work", 100'000);
  for (int step = 0; step < 1000; ++step) progress.advance();
  EXPECT_LT(captured.messages().size(), 5000U);
}

}  // namespace
}  // namespace vanto::tool
