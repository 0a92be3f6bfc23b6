// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileDocument.h"

#include <filesystem>

#include <sys/stat.h>

#include "programs/vanto/ProfileFixture.h"
#include "value/limits.h"

namespace vanto::tool {
namespace {

class ProfileDocumentTest : public testing::ProfileFixture {};

TEST_F(ProfileDocumentTest, HasErrorsOrAPolicy) {
  std::string problem;
  const auto good = ProfileDocument::read(profile("allow signal"), {}, problem);
  ASSERT_TRUE(good && good->result.policy);
  const auto bad = ProfileDocument::read(profile("nonsense"), {}, problem);
  ASSERT_TRUE(bad);
  EXPECT_EQ(bad->result.errors.count(), 1U);
  EXPECT_EQ(problem, "");
  EXPECT_FALSE(ProfileDocument::readGood(profile("nonsense"), {}, problem));
  EXPECT_NE(problem.find("a.sb:1:1: unknown statement"), problem.npos) << problem;
}

TEST_F(ProfileDocumentTest, IsARegularFileThatIsNotTooLarge) {
  std::string problem;
  ASSERT_EQ(mkfifo((directory_ / "fifo").c_str(), 0600), 0);
  EXPECT_FALSE(ProfileDocument::read(directory_ / "fifo", {}, problem));
  EXPECT_EQ(shortened(problem), "DIR/fifo: is no regular file");
  const std::string largest = profile(std::string(limits::profileBytes, '\n'));
  EXPECT_TRUE(ProfileDocument::readGood(largest, {}, problem));
  std::filesystem::resize_file(largest, limits::profileBytes + 1);
  EXPECT_FALSE(ProfileDocument::read(largest, {}, problem));
  EXPECT_EQ(shortened(problem), "DIR/a.sb: is larger than the 1 MiB that a profile may have");
}

TEST_F(ProfileDocumentTest, ShowsStatementsWithoutBlanksAndComments) {
  std::string problem;
  const auto document =
      ProfileDocument::read(profile("# a\n\tallow  read \"/\xc3\xa4 #\" /b\xe2\x80\x8b # c\n"), {}, problem);
  ASSERT_TRUE(document);
  EXPECT_EQ(document->statementAt(2), "allow  read \"/\xc3\xa4 #\" /b\\u{200b}");
  EXPECT_EQ(document->statementAt(1), "");
  EXPECT_EQ(document->statementAt(9), "");
  EXPECT_EQ(shortened(document->placeOf({"", 2})), "DIR/a.sb:2");
}

}  // namespace
}  // namespace vanto::tool
