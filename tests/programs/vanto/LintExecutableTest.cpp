// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "programs/vanto/LintRun.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using test::BundleLayout;
using vanto::testing::Lines;

class LintExecutable : public vanto::testing::LintRun {
 protected:
  [[nodiscard]] BundleBuilder bundleWith(const std::string& executableXml,
                                         BundleLayout layout = BundleLayout::Contents) {
    BundleBuilder bundle(directory_.path(), "A.vanto", layout);
    bundle.identifier("a").service().entry("KorBundleExecutable", executableXml);
    known_.clear();
    return bundle;
  }
  Lines foundWith(const std::string& executableXml, BundleLayout layout = BundleLayout::Contents) {
    BundleBuilder bundle = bundleWith(executableXml, layout);
    return found(bundle);
  }
};

TEST_F(LintExecutable, FindsThatItIsMissingOrNoName) {
  BundleBuilder bundle(directory_.path(), "A.vanto");
  bundle.identifier("a").service();
  EXPECT_EQ(found(bundle), Lines{"KorBundleExecutable: error: is missing; add the file name of the service's program: "
                                 "nothing can be started"});
  EXPECT_EQ(foundWith("<true/>"),
            Lines{"KorBundleExecutable: error: is a boolean; write a string: this counts as missing"});
  EXPECT_EQ(foundWith("<string/>"),
            Lines{"KorBundleExecutable: error: is empty; write the file name of the service's program"});
  EXPECT_EQ(foundWith("<string>../a</string>"),
            Lines{"KorBundleExecutable: error: \"../a\" is no file name; write the name "
                  "alone, without a path: this counts as missing"});
}

TEST_F(LintExecutable, FindsThatThereIsNoFile) {
  EXPECT_EQ(
      foundWith("<string>a</string>"),
      Lines{"KorBundleExecutable: error: there is no file A.vanto/Contents/Linux/a; add it, or correct the name"});
}

TEST_F(LintExecutable, LooksWhereTheLayoutHasIt) {
  EXPECT_EQ(foundWith("<string>a</string>", BundleLayout::Flat),
            Lines{"KorBundleExecutable: error: there is no file A.vanto/a; add it, or correct the name"});
}

TEST_F(LintExecutable, FindsADirectoryInItsPlace) {
  std::filesystem::create_directories(directory_ / "A.vanto/Contents/Linux/a");
  EXPECT_EQ(foundWith("<string>a</string>"),
            Lines{"KorBundleExecutable: error: A.vanto/Contents/Linux/a is no regular file; "
                  "put the program there"});
}

TEST_F(LintExecutable, FindsALinkThatLeadsOut) {
  std::filesystem::create_directories(directory_ / "A.vanto/Contents/Linux");
  std::filesystem::create_symlink("/bin/sh", directory_ / "A.vanto/Contents/Linux/a");
  EXPECT_EQ(
      foundWith("<string>a</string>"),
      Lines{"KorBundleExecutable: error: A.vanto/Contents/Linux/a leads out of the bundle; put the program itself "
            "there: what lies outside is not the service's executable"});
}

TEST_F(LintExecutable, FindsThatNobodyMayExecuteIt) {
  BundleBuilder bundle = goodBundle();
  bundle.build();
  std::filesystem::permissions(bundle.executablePath("good"), static_cast<std::filesystem::perms>(0644));
  const Findings findings = lintBundle(bundle.path(), known_);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(withoutDirectory(findings[0].problem), "Good.vanto/Contents/Linux/good may not be executed");
}

}  // namespace
}  // namespace vanto::tool
