// SPDX-License-Identifier: Apache-2.0
#include "vanto/Progress.h"

#include <chrono>

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

TEST(Progress, ComesBackSoonAfterItWasHidden) {
  CapturedConsole captured({}, plainTerminal);
  Progress progress(captured.console(), "work", 10);
  progress.hide();
  const std::string hidden = captured.messages();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (captured.messages() == hidden && std::chrono::steady_clock::now() < deadline) progress.advance();
  EXPECT_TRUE(captured.messages().starts_with(hidden + "\rwork: ")) << captured.messages();
}

TEST(Progress, DoesNotFlickerWhereItIsHiddenAtEachStep) {
  CapturedConsole captured({}, plainTerminal);
  Progress progress(captured.console(), "work", 100'000);
  for (int step = 0; step < 1000; ++step) {
    progress.advance();
    progress.hide();
  }
  EXPECT_LT(captured.messages().size(), 5000U);
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
