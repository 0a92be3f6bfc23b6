// SPDX-License-Identifier: Apache-2.0
#include "vanto/LintedBundle.h"

#include <filesystem>

#include "programs/vanto/LintRun.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using vanto::testing::Lines;

class LintedBundleTest : public vanto::testing::LintRun {
 protected:
  std::string lineAt(const std::string& path) {
    const Findings findings = lintBundle(path, known_);
    return findings.size() == 1 ? withoutDirectory(findings[0].line("error")) : std::to_string(findings.size());
  }
};

TEST_F(LintedBundleTest, HasNothingWrongWithAGoodBundle) {
  BundleBuilder bundle = goodBundle();
  EXPECT_EQ(found(bundle), Lines{});
}

TEST_F(LintedBundleTest, SaysWhyThereIsNoBundle) {
  EXPECT_EQ(lineAt(directory_ / "A.vanto"), "A.vanto: error: there is no Info.plist; add A.vanto/Contents/Info.plist");
  EXPECT_EQ(lineAt(directory_ / "A.app"),
            "A.app: error: the name does not end in .vanto; rename it, in lower case: under this name it is no service "
            "bundle");
  EXPECT_EQ(lineAt("\xff.vanto"),
            "\\xff.vanto: error: the path is not UTF-8; rename it: no service bundle is found there");
}

TEST_F(LintedBundleTest, SaysWhereTheInfoFileIsDamaged) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.info("<plist>\n  <dictionary/></plist>").build();
  const std::string line = lineAt(bundle.path());
  EXPECT_TRUE(line.starts_with("A.vanto/Contents/Info.plist:2:")) << line;
  EXPECT_TRUE(line.ends_with("; mend the file: until then there is no bundle")) << line;
}

TEST_F(LintedBundleTest, SaysThatThereIsNoServiceDictionary) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.identifier("a").build();
  EXPECT_EQ(lineAt(bundle.path()),
            "A.vanto/Contents/Info.plist: VantoService: error: is missing; add a dictionary, which "
            "may be empty: without it the bundle is no service");
}

TEST_F(LintedBundleTest, FindsEverythingAtOnce) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.serviceEntry("ServiceType", "<true/>")
      .serviceEntry("_SandboxProfile", "<true/>")
      .serviceEntry("_AllowedClients", "<true/>");
  EXPECT_EQ(found(bundle).size(), 5U);
}

TEST_F(LintedBundleTest, TakesEveryKindUnderEveryKey) {
  const char* kinds[] = {"<string>x</string>",     "<integer>1</integer>",
                         "<real>nan</real>",       "<true/>",
                         "<data>AQ==</data>",      "<date>2001-09-09T01:46:40Z</date>",
                         "<array><dict/></array>", "<dict><key>a</key><array/></dict>"};
  const char* keys[] = {"ServiceType",        "JoinExistingSession", "EnvironmentVariables",
                        "RunLoopType",        "_SandboxProfile",     "_UseQelApplicationMain",
                        "_MultipleInstances", "_RoleAccount",        "_AllowedClients"};
  for (const char* key : keys) {
    for (const char* kind : kinds) EXPECT_LE(foundWithEntry(key, kind).size(), 2U) << key << kind;
  }
  for (const char* key : {"KorBundleIdentifier", "KorBundleExecutable", "VantoService"}) {
    for (const char* kind : kinds) {
      BundleBuilder bundle(directory_.path(), "A.vanto");
      bundle.service().entry(key, kind);
      if (std::string(key) == "VantoService")
        bundle.info(BundleBuilder::document(BundleBuilder::dictionary({{key, kind}})));
      EXPECT_FALSE(found(bundle).empty()) << key << kind;
    }
  }
}

}  // namespace
}  // namespace vanto::tool
