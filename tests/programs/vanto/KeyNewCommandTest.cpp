// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyNewCommand.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "programs/vanto/CodeFixture.h"

namespace vanto::tool {
namespace {

using testing::contentsOf;
using testing::runCodeTool;
using testing::ToolRun;

using KeyNewCommandTest = testing::CodeFixture;

TEST_F(KeyNewCommandTest, MakesAKeyForItsOwnerAlone) {
  const std::string path = directory_ / "new.key";
  const mode_t mask = umask(0);
  const ToolRun run = runCodeTool({"key", "new", "Some One", "--output", path});
  umask(mask);
  EXPECT_EQ(run.status, ExitStatus::Fine) << run.messages;
  std::string problem;
  const auto key = code::PrivateKeyDocument::readFile(path, problem);
  ASSERT_TRUE(key) << problem;
  EXPECT_EQ(key->name, "Some One");
  EXPECT_EQ(run.output, path + ": Some One (" + code::fingerprint(key->keys.publicKey) + ")\n");
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(KeyNewCommandTest, KeepsWhatExistsUnlessForced) {
  const std::string before = contentsOf(acmeKey_);
  const ToolRun run = runCodeTool({"key", "new", "acme", "-o", acmeKey_});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages,
            "vanto: " + acmeKey_ + ": exists already; --force replaces it, and a key that is replaced is lost\n");
  EXPECT_EQ(contentsOf(acmeKey_), before);
  std::filesystem::create_symlink("nowhere", directory_ / "dangling");
  EXPECT_EQ(runCodeTool({"key", "new", "acme", "-o", directory_ / "dangling"}).status, ExitStatus::Failed);
  chmod(acmeKey_.c_str(), 0644);
  EXPECT_EQ(runCodeTool({"key", "new", "acme", "-o", acmeKey_, "--force"}).status, ExitStatus::Fine);
  EXPECT_NE(contentsOf(acmeKey_), before);
  std::string problem;
  EXPECT_TRUE(code::PrivateKeyDocument::readFile(acmeKey_, problem)) << problem;
}

TEST_F(KeyNewCommandTest, OffersToReplaceOnlyWhatIsThere) {
  const std::string path = directory_ / "nowhere/new.key";
  const ToolRun run = runCodeTool({"key", "new", "acme", "-o", path});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_EQ(run.messages, "vanto: " + path + ": cannot be written: No such file or directory\n");
}

TEST_F(KeyNewCommandTest, RefusesABadName) {
  const ToolRun run = runCodeTool({"key", "new", "a/\x1b", "-o", directory_ / "x"});
  EXPECT_EQ(run.status, ExitStatus::Failed);
  EXPECT_TRUE(run.messages.starts_with("vanto: a/\\x1b: a name has 1 to 200 bytes")) << run.messages;
  EXPECT_FALSE(std::filesystem::exists(directory_ / "x"));
}

}  // namespace
}  // namespace vanto::tool
