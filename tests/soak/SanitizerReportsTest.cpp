// SPDX-License-Identifier: Apache-2.0
#include "soak/SanitizerReports.h"

#include <fstream>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace vanto::soak {
namespace {

TEST(SanitizerReports, AreNoFaultsOfProcessesThatWereKilledWhileTheyLookedForLeaks) {
  const test::TemporaryDirectory directory;
  const SanitizerReports reports(directory.path());
  EXPECT_EQ(reports.first(), "");
  std::ofstream(directory / "report.7") << "==8==Unable to get registers from thread 7.\n\n";
  EXPECT_EQ(reports.first(), "");
  std::ofstream(directory / "report.9") << "==9==Unable to get registers from thread 9.\n==9==ERROR: a leak\n";
  EXPECT_EQ(reports.first(), "report.9: ==9==ERROR: a leak\n");
}

}  // namespace
}  // namespace vanto::soak
