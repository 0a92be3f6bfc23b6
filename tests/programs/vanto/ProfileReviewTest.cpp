// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileReview.h"

#include <filesystem>

#include "programs/vanto/ProfileFixture.h"

namespace vanto::tool {
namespace {

class ProfileReviewTest : public testing::ProfileFixture {
 protected:
  /// "LINE:COLUMN: severity: problem" of each finding.
  std::vector<std::string> review(const std::string& text) const {
    std::string problem;
    const auto values = ProfileValues::of({}, problem);
    const auto document = ProfileDocument::read(profile(text), *values, problem);
    std::vector<std::string> lines;
    for (const ProfileFinding& finding : reviewOf(*document, *values)) {
      EXPECT_NE(finding.remedy, "");
      lines.push_back(shortened(std::to_string(finding.position.line) + ":" + std::to_string(finding.position.column) +
                                ": " + nameOf(finding.severity) + ": " + finding.problem));
    }
    return lines;
  }
};

using Lines = std::vector<std::string>;

TEST_F(ProfileReviewTest, FindsNothingInAGoodProfile) {
  EXPECT_EQ(review("version 1\ninclude base\nallow read ${VantoService_path}\nallow read,write /tmp\n"), Lines{});
}

TEST_F(ProfileReviewTest, HasEveryErrorThatIsKeptAndCountsTheOthers) {
  EXPECT_EQ(review("a\n b\n"), (Lines{"1:1: error: unknown statement \"a\"", "2:2: error: unknown statement \"b\""}));
  std::string many;
  for (int line = 0; line < 103; ++line) many += "x\n";
  const Lines lines = review(many);
  ASSERT_EQ(lines.size(), 101U);
  EXPECT_EQ(lines.back(), "100:1: error: 3 more errors follow");
}

TEST_F(ProfileReviewTest, NotesWhatIsAbsent) {
  EXPECT_EQ(review("allow read /tmp /nowhere/x\n"),
            Lines{"1:17: note: there is no /nowhere/x here, and what is absent gets no rule"});
  EXPECT_EQ(review("allow read ${VantoService_home}/nowhere\n"), Lines{});
}

TEST_F(ProfileReviewTest, WarnsOfRightsOfDirectoriesAtFiles) {
  EXPECT_EQ(review("allow read,create,remove " + directory_ / "a.sb" + "\n"),
            Lines{"1:26: warning: create, remove is without effect at a file, as DIR/a.sb is"});
}

TEST_F(ProfileReviewTest, WarnsOfLinksThatTheServiceCanMake) {
  std::filesystem::create_directory(directory_ / "own");
  std::filesystem::create_directory_symlink("/", directory_ / "own/data");
  const std::string own = "allow read,write,create,remove " + directory_ / "own" + "\n";
  EXPECT_EQ(review(own + "allow socket " + directory_ / "own/data" + "\n"),
            Lines{"2:14: warning: DIR/own/data gets no rule: the profile lets links be made where DIR/own/data is, so "
                  "that it is not followed"});
}

TEST_F(ProfileReviewTest, WarnsOfRulesThatAddNothing) {
  EXPECT_EQ(review("include base\nallow read /tmp\nallow read /etc/passwd /tmp\nallow read,write /tmp\n"),
            (Lines{"3:12: warning: adds nothing: all of it is allowed for /etc/passwd elsewhere",
                   "3:24: warning: adds nothing: all of it is allowed for /tmp elsewhere"}));
}

TEST_F(ProfileReviewTest, WarnsOfMoreThanItLooksLike) {
  EXPECT_EQ(review("allow read /\n"), Lines{"1:12: warning: read is allowed for every file there is"});
  EXPECT_EQ(review("allow write " + directory_.path() + "\nallow execute " + bundle_.path() + "\n"),
            Lines{"2:15: warning: DIR/A.vanto may be written and executed, so anything can be"});
}

}  // namespace
}  // namespace vanto::tool
