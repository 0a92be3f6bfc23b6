// SPDX-License-Identifier: Apache-2.0
#include "vanto/Finding.h"

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(Finding, NamesFileKeySeverityProblemAndRemedy) {
  const Finding finding{Severity::Warning, "/a/Info.plist", "VantoService.RunLoopType", "is odd", "write another"};
  EXPECT_EQ(finding.line("warning"), "/a/Info.plist: VantoService.RunLoopType: warning: is odd; write another");
}

TEST(Finding, LeavesOutAKeyThatThereIsNot) {
  EXPECT_EQ((Finding{Severity::Error, "/a", "", "is odd", "change it"}).line("error"), "/a: error: is odd; change it");
}

TEST(Finding, HasAWordForEachSeverity) {
  EXPECT_STREQ(nameOf(Severity::Note), "note");
  EXPECT_STREQ(nameOf(Severity::Warning), "warning");
  EXPECT_STREQ(nameOf(Severity::Error), "error");
}

}  // namespace
}  // namespace vanto::tool
