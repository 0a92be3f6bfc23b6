// SPDX-License-Identifier: Apache-2.0
#include "runtime/SandboxEntry.h"

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <syslog.h>

#include <VantoServiceTest/FakeHost.h>

#include "support/BundleBuilder.h"
#include "support/LogCapture.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {
namespace {

using test::BundleBuilder;
using Lines = std::vector<std::string>;

class SandboxEntry : public ::testing::Test {
 protected:
  /// A service that names the profile "tight" and has it.
  [[nodiscard]] BundleBuilder confinedBundle() const {
    return serviceBundle("tight").resource("tight.sb", "network none\n");
  }

  [[nodiscard]] BundleBuilder serviceBundle(std::string_view profile) const {
    return emptyBundle().serviceEntry("_SandboxProfile", BundleBuilder::string(profile));
  }

  [[nodiscard]] BundleBuilder emptyBundle() const {
    return BundleBuilder(directory_.path(), "Echo.vanto").identifier("com.example.echo").service();
  }

  /// Builds the bundle and enters its sandbox through a bundle object for `path`.
  void enter(BundleBuilder bundle, std::string path = {}) {
    bundle.build();
    if (path.empty()) path = bundle.path();
    const auto opened = Bundle::create(*PlistString::create(path));
    ASSERT_TRUE(opened);
    enterSandboxIfProfileProvided(*VantoServiceBundle::initWithBundle(opened.get()));
  }

  /// The call that says why the process is not confined.
  [[nodiscard]] static std::string failure(const std::string& reason) {
    return "vanto_sandbox_record_failure(" + reason + ")";
  }
  [[nodiscard]] static std::string missingResource(const std::string& file) {
    return failure("the bundle has no resource \"" + file +
                   "\"; add the profile, or correct its name under _SandboxProfile");
  }
  [[nodiscard]] static std::string unreachable(const std::string& what) {
    return failure("Failed to get real path of " + what + "; see that it is there and that the service can reach it");
  }

  /// The call that confines the process of confinedBundle().
  [[nodiscard]] std::string confinement(const std::string& identifier = "com.example.echo",
                                        const std::string& home = "/home/fake") const {
    return "sandbox_init_with_parameters(" + profile_ + ", 3, VantoService_identifier, " + identifier +
           ", VantoService_path, " + path_ + ", VantoService_home, " + home + ", null)";
  }

  [[nodiscard]] Lines resolutions() const {
    return {"QelHomeDirectory()", "PellmoUtilRealPathForPath(" + path_ + ")", "PellmoUtilRealPathForPath(/home/fake)"};
  }

  const test::TemporaryDirectory directory_;
  const std::string path_ = directory_ / "Echo.vanto";
  const std::string profile_ = path_ + "/Contents/Resources/tight.sb";
  test::FakeHost host_;
  LogCapture log_;
};

TEST_F(SandboxEntry, PassesTheProfileAndItsThreeParametersInOrder) {
  enter(confinedBundle());
  Lines expected = resolutions();
  expected.push_back(confinement());
  EXPECT_EQ(host_.lines(), expected);
}

TEST_F(SandboxEntry, DoesNothingWithoutAProfile) {
  enter(emptyBundle());
  EXPECT_EQ(host_.lines(), Lines{});
}

// What is not logged is in the receipt all the same.
TEST_F(SandboxEntry, TakesAProfileNameThatIsNoStringForNoneAndSaysSoOnlyInTheReceipt) {
  Lines expected;
  for (const std::string& value :
       {BundleBuilder::integer(1), BundleBuilder::boolean(true), BundleBuilder::array({BundleBuilder::string("tight")}),
        BundleBuilder::dictionary({})}) {
    enter(emptyBundle().serviceEntry("_SandboxProfile", value).resource("tight.sb", ""));
    expected.push_back(failure("_SandboxProfile is no string; write the name of the profile, without .sb"));
    EXPECT_EQ(host_.lines(), expected) << value;
  }
}

TEST_F(SandboxEntry, SaysOnlyInTheReceiptThatTheProfileIsMissing) {
  enter(serviceBundle("tight").resource("other.sb", "").resource("tight", "").resource("tight.txt", ""));
  EXPECT_EQ(host_.lines(), Lines{missingResource("tight.sb")});
}

TEST_F(SandboxEntry, TakesAProfileNameThatIsNoPathComponentForAMissingOne) {
  Lines expected;
  for (const std::string name : {"", "../Resources/tight", "sub/tight", "/tight", "tight/", "./tight", "tight.sb"}) {
    enter(serviceBundle(name).resource("tight.sb", ""));
    expected.push_back(missingResource(name + ".sb"));
    EXPECT_EQ(host_.lines(), expected) << name;
  }
}

TEST_F(SandboxEntry, GivesTheReceiptOneLineWhateverTheNameOfTheProfile) {
  enter(serviceBundle("a\nlevel full"));
  EXPECT_EQ(host_.lines(), Lines{missingResource("a\\nlevel full.sb")});
}

TEST_F(SandboxEntry, GivesTheRealPathOfABundleThatIsReachedThroughASymbolicLink) {
  const std::string link = directory_ / "Link.vanto";
  ASSERT_EQ(symlink(path_.c_str(), link.c_str()), 0);
  host_.answers().realPaths = {{link, path_}, {"/home/fake", "/volumes/1/fake"}};
  enter(confinedBundle(), link);
  const Lines expected = {
      "QelHomeDirectory()", "PellmoUtilRealPathForPath(" + link + ")", "PellmoUtilRealPathForPath(/home/fake)",
      "sandbox_init_with_parameters(" + link +
          "/Contents/Resources/tight.sb, 3, VantoService_identifier, com.example.echo, VantoService_path, " + path_ +
          ", VantoService_home, /volumes/1/fake, null)"};
  EXPECT_EQ(host_.lines(), expected);
}

TEST_F(SandboxEntry, GivesAnEmptyIdentifierForABundleWithoutOne) {
  enter(BundleBuilder(directory_.path(), "Echo.vanto")
            .serviceEntry("_SandboxProfile", BundleBuilder::string("tight"))
            .resource("tight.sb", ""));
  EXPECT_EQ(host_.lines().back(), confinement(""));
}

TEST_F(SandboxEntry, LogsAMissingHomeDirectoryAndGivesUp) {
  host_.answers().homeDirectory.reset();
  enter(confinedBundle());
  log_.expect(LOG_ERR, "QelHomeDirectory() returned nil");
  EXPECT_EQ(host_.lines(), (Lines{"QelHomeDirectory()", failure("this user has no home directory; run the service as a "
                                                                "user who has one")}));
}

TEST_F(SandboxEntry, LogsABundleWhoseRealPathCannotBeToldAndGivesUp) {
  host_.answers().realPathErrors[path_] = ELOOP;
  enter(confinedBundle());
  log_.expect(LOG_ERR, "Failed to get real path of bundle: " + path_ + " (" + std::to_string(ELOOP) + ")");
  EXPECT_EQ(host_.lines(), (Lines{"QelHomeDirectory()", "PellmoUtilRealPathForPath(" + path_ + ")",
                                  unreachable("bundle: " + path_ + " (" + std::to_string(ELOOP) + ")")}));
}

TEST_F(SandboxEntry, LogsABundlePathAsItWasGiven) {
  const std::string link = directory_ / "Link.vanto";
  ASSERT_EQ(symlink(path_.c_str(), link.c_str()), 0);
  host_.answers().realPathErrors[link] = EACCES;
  enter(confinedBundle(), link);
  log_.expect(LOG_ERR, "Failed to get real path of bundle: " + link + " (" + std::to_string(EACCES) + ")");
}

TEST_F(SandboxEntry, LogsAHomeDirectoryWhoseRealPathCannotBeToldAndGivesUp) {
  host_.answers().realPathErrors["/home/fake"] = ENOENT;
  enter(confinedBundle());
  log_.expect(LOG_ERR, "Failed to get real path of home directory: /home/fake (" + std::to_string(ENOENT) + ")");
  Lines expected = resolutions();
  expected.push_back(unreachable("home directory: /home/fake (" + std::to_string(ENOENT) + ")"));
  EXPECT_EQ(host_.lines(), expected);
}

TEST_F(SandboxEntry, LogsTheErrorCode0WhenThereIsNone) {
  host_.answers().realPathErrors["/home/fake"] = 0;
  enter(confinedBundle());
  log_.expect(LOG_ERR, "Failed to get real path of home directory: /home/fake (0)");
}

TEST_F(SandboxEntry, LogsARefusalAndFreesItsText) {
  host_.answers().sandboxError = "line 1, column 9: 'none' or an address was expected";
  enter(confinedBundle());
  log_.expect(LOG_ERR, "sandbox_init_with_parameters() profile " + profile_ +
                           " fails: line 1, column 9: 'none' or an address was expected");
  Lines expected = resolutions();
  expected.push_back(confinement());
  expected.push_back("sandbox_free_error(line 1, column 9: 'none' or an address was expected)");
  EXPECT_EQ(host_.lines(), expected);
}

TEST_F(SandboxEntry, LogsARefusalWithoutAText) {
  host_.fail("sandbox_init_with_parameters");
  enter(confinedBundle());
  log_.expect(LOG_ERR, "sandbox_init_with_parameters() profile " + profile_ + " fails: unknown error");
  EXPECT_EQ(host_.lines().back(), "sandbox_free_error(null)");
}

TEST_F(SandboxEntry, LogsForeignTextsOnOneLine) {
  host_.answers().homeDirectory = "/home/a\nb";
  host_.answers().sandboxError = "two\nlines";
  enter(confinedBundle());
  log_.expect(LOG_ERR, "sandbox_init_with_parameters() profile " + profile_ + " fails: two\\nlines");
  host_.answers().realPathErrors["/home/a\nb"] = EIO;
  enter(confinedBundle());
  log_.expect(LOG_ERR, "Failed to get real path of home directory: /home/a\\nb (" + std::to_string(EIO) + ")");
}

}  // namespace
}  // namespace vanto::testing
