// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include "programs/vanto/LintRun.h"
#include "support/Child.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using vanto::testing::Lines;

class LintSandbox : public vanto::testing::LintRun {
 protected:
  Lines foundWithProfile(const std::string& xml) { return foundWithEntry("_SandboxProfile", xml); }
};

TEST_F(LintSandbox, IsFineWithAProfile) {
  BundleBuilder bundle = goodBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("locked")).resource("locked.sb", "");
  EXPECT_EQ(found(bundle), Lines{});
}

TEST_F(LintSandbox, FindsNamesThatCanNeverMatch) {
  const char* effect = ", so the service runs unconfined; write the name of a file in the resources, without .sb";
  const std::string key = "VantoService._SandboxProfile: error: ";
  EXPECT_EQ(foundWithProfile("<string>a/b</string>"),
            Lines{key + "\"a/b\" has a slash, and resources have none" + effect});
  EXPECT_EQ(foundWithProfile("<string/>"), Lines{key + "is empty" + effect});
  EXPECT_EQ(foundWithProfile("<string>..</string>"), Lines{key + "\"..\" is never looked for" + effect});
  EXPECT_EQ(foundWithProfile(BundleBuilder::string(std::string(253, 'a'))),
            Lines{key + "is too long for a file name" + effect});
  EXPECT_EQ(foundWithProfile("<true/>"),
            Lines{key + "is a boolean, so the service runs unconfined; write the name of the "
                        "profile, without .sb"});
}

TEST_F(LintSandbox, FindsThatTheProfileIsMissing) {
  EXPECT_EQ(
      foundWithProfile("<string>locked</string>"),
      Lines{"VantoService._SandboxProfile: error: there is no file Good.vanto/Contents/Resources/locked.sb, so the "
            "service runs unconfined; add the profile, or correct the name"});
}

TEST_F(LintSandbox, FindsWhatIsWrongInTheProfile) {
  BundleBuilder bundle = goodBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("locked"))
      .resource("locked.sb", "allow read ${VantoService_path} /\n");
  EXPECT_EQ(found(bundle),
            (Lines{": warning: adds nothing: all of it is allowed for Good.vanto elsewhere; leave it out",
                   ": warning: read is allowed for every file there is; name the directories that are "
                   "needed"}));
  bundle.resource("locked.sb", "nonsense\n");
  known_.clear();
  EXPECT_EQ(found(bundle),
            Lines{": error: unknown statement \"nonsense\", so the service runs unconfined; write version, "
                  "include, allow, network or require"});
}

TEST_F(LintSandbox, FindsThatTheExtensionWasWrittenToo) {
  BundleBuilder bundle = goodBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("locked.sb")).resource("locked.sb", "");
  EXPECT_EQ(found(bundle),
            Lines{"VantoService._SandboxProfile: error: \"locked.sb\" has the extension, which is added, so "
                  "the service runs unconfined; write locked"});
}

TEST_F(LintSandbox, FindsThatTheUserHasNoHomeDirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  BundleBuilder bundle = goodBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("locked")).resource("locked.sb", "");
  bundle.build();
  ASSERT_EQ(chmod(directory_.path().c_str(), 0755), 0);
  const testing::ChildOutcome outcome = testing::runInChild([&](const testing::ChildReport& report) {
    const TemporaryScope scope;
    EXPECT_EQ(setreuid(54321, 54321), 0);
    for (const Finding& finding : lintBundle(bundle.path(), known_)) report(finding.key + ": " + finding.problem);
  });
  EXPECT_EQ(outcome.lines, Lines{"VantoService._SandboxProfile: user 54321 has no home directory, so the service runs "
                                 "unconfined"});
}

}  // namespace
}  // namespace vanto::tool
