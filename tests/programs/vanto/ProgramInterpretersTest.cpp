// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProgramInterpreters.h"

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

class ProgramInterpretersTest : public ::testing::Test {
 protected:
  std::string file(const std::string& name, const std::string& text) const {
    std::ofstream(directory_ / name, std::ios::binary) << text;
    return directory_ / name;
  }
  static std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  test::TemporaryDirectory directory_;
};

TEST_F(ProgramInterpretersTest, AreTheLoaderOfAProgram) {
  const auto found = interpretersOf("/usr/bin/env");
  ASSERT_TRUE(found.has_value());
  ASSERT_EQ(found->size(), 1U);
  EXPECT_EQ(interpretersOf(found->front()), std::vector<std::string>());
}

TEST_F(ProgramInterpretersTest, AreThoseOfAScriptInTurn) {
  const std::string inner = file("inner", "#! /usr/bin/env -S x\n");
  const auto found = interpretersOf(file("outer", "#!" + inner + "\n"));
  ASSERT_TRUE(found.has_value());
  ASSERT_EQ(found->size(), 3U);
  EXPECT_EQ(found->at(0), inner);
  EXPECT_EQ(found->at(1), "/usr/bin/env");
}

TEST_F(ProgramInterpretersTest, AreNotFoundForWhatIsNoProgram) {
  EXPECT_EQ(interpretersOf(file("text", "hello")), std::nullopt);
  EXPECT_EQ(interpretersOf(file("empty", "")), std::nullopt);
  EXPECT_EQ(interpretersOf(file("blank", "#! \t\n/usr/bin/env")), std::nullopt);
  EXPECT_EQ(interpretersOf(directory_ / "none"), std::nullopt);
  EXPECT_EQ(interpretersOf(directory_.path()), std::nullopt);
  ASSERT_EQ(mkfifo((directory_ / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(interpretersOf(directory_ / "fifo"), std::nullopt);
}

TEST_F(ProgramInterpretersTest, EndWithAScriptThatNamesItself) {
  EXPECT_EQ(interpretersOf(file("self", "#!" + directory_ / "self")), std::nullopt);
}

TEST_F(ProgramInterpretersTest, AreReadFromNoProgramThatIsCut) {
  const std::string whole = bytesOf("/usr/bin/env");
  std::size_t understood = 0;
  for (std::size_t size = 0; size < 1024; ++size)
    understood += interpretersOf(file("cut", whole.substr(0, size))) ? 1 : 0;
  EXPECT_LT(understood, 1024U);
  EXPECT_EQ(interpretersOf(file("cut", whole.substr(0, 63))), std::nullopt);
}

TEST_F(ProgramInterpretersTest, AreReadWithinTheFileWhateverItSays) {
  const std::string whole = bytesOf("/usr/bin/env").substr(0, 4096);
  // Each byte of the headers in turn is the greatest there is, which makes offsets and sizes that no file has.
  for (std::size_t at = 0; at < 1024; ++at) {
    std::string damaged = whole;
    damaged[at] = '\xff';
    const auto found = interpretersOf(file("damaged", damaged));
    EXPECT_TRUE(!found || found->size() <= 1) << at;
  }
}

}  // namespace
}  // namespace vanto::tool
