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
}

TEST_F(ProfileReviewTest, WarnsOfWhatMayBeChangedAndExecuted) {
  const std::string above = "allow write " + directory_.path() + "\nallow read,execute " + bundle_.path() + "\n";
  EXPECT_EQ(review(above), Lines{"2:20: warning: DIR/A.vanto may be changed (write) and executed, so anything can be"});
  const std::string beneath =
      "allow read,execute " + directory_.path() + "\nallow create,rename " + bundle_.path() + " " + directory_ / "x\n";
  EXPECT_EQ(review(beneath).front(),
            "1:20: warning: DIR/A.vanto and 1 more beneath may be changed (create, rename) and executed, so anything "
            "can be");
  EXPECT_EQ(review("allow read,execute /usr/bin\nallow write /usr/binary /us\n").front().find("warning"),
            std::string::npos);
}

TEST_F(ProfileReviewTest, KnowsThatAFileMayBeExecutedBesideWhatIsMade) {
  const std::string file = "allow read,execute " + directory_ / "a.sb" + "\n";
  EXPECT_EQ(review(file + "allow create,remove,rename " + directory_.path() + "\n"), Lines{});
  EXPECT_EQ(review(file + "allow write " + directory_.path() + "\n"),
            Lines{"1:20: warning: DIR/a.sb may be changed (write) and executed, so anything can be"});
}

TEST_F(ProfileReviewTest, WarnsOfWhatMayBeChangedAndExecutedByAnotherName) {
  std::filesystem::create_directory_symlink(bundle_.path(), directory_ / "link");
  const std::string warning = "1:20: warning: DIR/A.vanto may be changed (write) and executed, so anything can be";
  EXPECT_EQ(review("allow read,execute " + directory_ / "link" + "\nallow write " + bundle_.path() + "\n"),
            Lines{warning});
  EXPECT_EQ(review("allow read,execute " + bundle_.path() + "\nallow write " + directory_ / "link" + "\n"),
            Lines{warning});
}

TEST_F(ProfileReviewTest, WarnsOfExecutionWithoutReading) {
  EXPECT_EQ(review("allow execute " + bundle_.path() + "\n"),
            Lines{"1:15: warning: execute does nothing without read, which DIR/A.vanto lacks"});
  EXPECT_EQ(review("allow execute " + bundle_.path() + "\nallow read " + directory_.path() + "\n"), Lines{});
  EXPECT_EQ(review("allow execute " + directory_.path() + "\nallow read " + bundle_.path() + "\n"), Lines{});
}

TEST_F(ProfileReviewTest, WarnsOfRenameThatNothingCanBeMovedBy) {
  std::filesystem::create_directory(directory_ / "b");
  const std::string rule = "allow rename,remove " + directory_ / "A.vanto" + "\n";
  EXPECT_EQ(review(rule + "allow create " + directory_ / "b"),
            Lines{"1:21: warning: rename does nothing, as no directory has create with it to take what is moved"});
  EXPECT_EQ(review(rule + "allow create,rename " + directory_ / "b"), Lines{});
  EXPECT_EQ(review("allow rename " + directory_.path() + "\nallow create " + directory_ / "b"), Lines{});
}

TEST_F(ProfileReviewTest, NotesWhereRenameOnlyLinks) {
  std::filesystem::create_directory(directory_ / "b");
  const std::string rules =
      "allow rename " + directory_ / "A.vanto" + "\nallow create,rename,remove " + directory_ / "b";
  EXPECT_EQ(review(rules), Lines{"1:14: note: rename without create and remove lets things in DIR/A.vanto be linked "
                                 "elsewhere, and no more"});
}

TEST_F(ProfileReviewTest, NotesWhatTheKernelTakesNoRuleFor) {
  const Lines lines = review("allow read /proc/self/ns/net\n");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("1:12: note: /proc/self/ns/net gets no rule: here it leads to net:[")) << lines[0];
}

}  // namespace
}  // namespace vanto::tool
