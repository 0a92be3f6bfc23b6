// SPDX-License-Identifier: Apache-2.0
#include "programs/vanto/LintRun.h"

namespace vanto::tool {
namespace {

using test::BundleBuilder;
using vanto::testing::Lines;

class LintIdentifier : public vanto::testing::LintRun {
 protected:
  Lines foundWith(const std::string& identifierXml) {
    BundleBuilder bundle(directory_.path(), "A.vanto");
    bundle.executable("a").service();
    if (!identifierXml.empty()) bundle.entry("KorBundleIdentifier", identifierXml);
    known_.clear();
    return found(bundle);
  }
};

TEST_F(LintIdentifier, IsFineWhereAServiceCanHaveIt) {
  EXPECT_EQ(foundWith(BundleBuilder::string("org.example.a")), Lines{});
  EXPECT_EQ(foundWith(BundleBuilder::string(std::string(255, 'a'))), Lines{});
}

TEST_F(LintIdentifier, FindsThatItIsMissingOrNoString) {
  EXPECT_EQ(foundWith(""),
            Lines{"KorBundleIdentifier: error: is missing; add a string such as org.example.name: it is the "
                  "name of the service, which cannot start without"});
  EXPECT_EQ(foundWith("<integer>5</integer>"),
            Lines{"KorBundleIdentifier: error: is an integer; write a string: this counts as missing"});
  EXPECT_EQ(foundWith("<string/>"),
            Lines{"KorBundleIdentifier: error: is empty; write a name such as org.example.name: an "
                  "empty one cannot be listened under"});
}

TEST_F(LintIdentifier, FindsThatItIsTooLongForASocketFile) {
  const Lines expected{
      "KorBundleIdentifier: error: is too long for the name of a socket file; shorten it: 255 bytes are the most, and "
      "every "
      "one but letters, digits, '.', '-' and '_' counts three"};
  EXPECT_EQ(foundWith(BundleBuilder::string(std::string(256, 'a'))), expected);
  EXPECT_EQ(foundWith(BundleBuilder::string(std::string(86, '/'))), expected);
}

TEST_F(LintIdentifier, FindsThatTwoBundlesShareOne) {
  BundleBuilder one = goodBundle("One.vanto");
  BundleBuilder other(directory_.path(), "Other.vanto");
  other.identifier("org.example.One.vanto").executable("other").service();
  EXPECT_EQ(found(one), Lines{});
  EXPECT_EQ(found(other),
            Lines{"KorBundleIdentifier: error: \"org.example.One.vanto\" is that of One.vanto too; give each "
                  "service its own: only one of them can be listened under this name"});
}

}  // namespace
}  // namespace vanto::tool
