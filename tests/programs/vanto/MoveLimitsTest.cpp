// SPDX-License-Identifier: Apache-2.0
#include "vanto/MoveLimits.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/Untried.h"
#include "sandbox/Confinement.h"
#include "sandbox/KernelProbe.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

using testing::compiled;

class MoveLimitsTest : public ::testing::Test {
 protected:
  MoveLimitsTest() {
    for (const char* name : {"a", "b"}) {
      std::filesystem::create_directories(directory_ / name + "/directory");
      std::ofstream(directory_ / name + "/file") << "x";
    }
  }

  /// Both have what moves need, and then `more`.
  [[nodiscard]] Policy policyWith(const std::string& more) const {
    std::string text = "allow rename,create,remove " + directory_ / "a " + directory_ / "b\n" + more + "\n";
    for (std::size_t place; (place = text.find("DIR")) != text.npos;) text.replace(place, 3, directory_.path());
    return compiled(text);
  }

  /// "to DIR/b read,execute 6.2" and the like, for what is moved from or to DIR/a.
  [[nodiscard]] std::string limitsOf(const std::string& more, RulePlace moved = RulePlace::File) const {
    std::string text;
    for (const MoveLimit& limit : moveLimitsOf(policyWith(more), directory_ / "a", moved)) {
      text += (text.empty() ? "" : "; ") + std::string(limit.way == MoveLimit::Way::To ? "to " : "from ") +
              std::filesystem::path(limit.directory).filename().string() + " " + namesOf(limit.rights, ",") +
              (limit.firstLinux.empty() ? "" : " " + limit.firstLinux);
    }
    return text;
  }

  /// The errno values of moving a file and a directory from DIR/a to DIR/b under the policy.
  [[nodiscard]] std::vector<std::string> movesUnder(const std::string& more) const {
    const testing::ChildOutcome outcome = testing::runInChild([&](const testing::ChildReport& report) {
      EXPECT_EQ(Confinement().enter(policyWith(more)).error, "");
      for (const char* name : {"/file", "/directory"}) {
        const int result = std::rename((directory_ / "a" + name).c_str(), (directory_ / "b/new" + name[1]).c_str());
        report(std::to_string(result == 0 ? 0 : errno));
      }
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines;
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(MoveLimitsTest, AreWhereRightsWouldBeGained) {
  EXPECT_EQ(limitsOf(""), "");
  EXPECT_EQ(limitsOf("allow read,execute DIR/b"), "to b read,execute");
  EXPECT_EQ(limitsOf("allow read DIR/a"), "from b read");
  EXPECT_EQ(limitsOf("allow read DIR/a\nallow execute DIR/b"), "to b execute; from b read");
  EXPECT_EQ(limitsOf("allow read DIR"), "");
}

TEST_F(MoveLimitsTest, AreAboutDirectoriesThatTakePart) {
  EXPECT_EQ(limitsOf("allow read,execute DIR/c /usr"), "");
  EXPECT_EQ(limitsOf("allow read,create DIR/b/file DIR/b/none"), "");
  EXPECT_EQ(limitsOf("allow rename,read DIR/b/directory"), "to directory read");
}

TEST_F(MoveLimitsTest, KnowWhichRightsAreOfDirectories) {
  const std::string more = "allow rename,create,remove DIR\nallow create DIR/b";
  EXPECT_EQ(limitsOf(more), "");
  const Policy policy =
      compiled("allow rename,create " + directory_ / "a\nallow rename,create,remove " + directory_ / "b\n");
  EXPECT_TRUE(moveLimitsOf(policy, directory_ / "a", RulePlace::File).empty());
  EXPECT_TRUE(moveLimitsOf(policy, directory_ / "a", RulePlace::Absent).empty());
  EXPECT_EQ(moveLimitsOf(policy, directory_ / "a", RulePlace::Directory).size(), 1U);
}

TEST_F(MoveLimitsTest, SayFromWhichKernelTheyHold) {
  EXPECT_EQ(limitsOf("allow truncate,socket DIR/b"), "to b truncate,socket 6.2");
  EXPECT_EQ(limitsOf("allow write DIR/b"), "to b write,truncate");
}

TEST_F(MoveLimitsTest, AreThoseOfTheKernel) {
  const std::optional<KernelRights> kernel = probeKernelRights();
  ASSERT_TRUE(kernel.has_value());
  if ((kernel->fileBits & bitsOf(Right::Rename).fileBits) == 0)
    return testing::announceUntried("moves", "this kernel allows none to who is confined");
  const std::string refused = std::to_string(EXDEV);
  EXPECT_EQ(movesUnder("allow read DIR/b"), (std::vector<std::string>{refused, refused}));
  EXPECT_EQ(movesUnder("allow rename,create,remove DIR\nallow read DIR/a"), (std::vector<std::string>{"0", "0"}));
}

}  // namespace
}  // namespace vanto::tool
