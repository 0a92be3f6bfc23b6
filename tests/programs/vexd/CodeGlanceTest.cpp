// SPDX-License-Identifier: Apache-2.0
#include "vexd/CodeGlance.h"

#include <filesystem>

#include <sys/ptrace.h>

#include "programs/vexd/VexdFixture.h"
#include "vexd/CodeFinder.h"

namespace vanto::testing {
namespace {

using vexd::FactsKey;

class CodeGlanceTest : public ::testing::Test {
 protected:
  CodeGlanceTest() {
    std::filesystem::copy_file("/bin/sleep", program_);
    signFile(program_, acme_, "org.example.sleep");
  }

  /// The key by what was opened, under which an answer is kept.
  static FactsKey openedKey(int process) {
    vexd::Refusal refusal;
    auto examined = vexd::ExaminedProcess::open(process, refusal);
    FactsKey key;
    EXPECT_TRUE(examined) << refusal.reason;
    if (examined) static_cast<void>(FactsKey::of(findCode(std::move(*examined)), key));
    return key;
  }

  const TemporaryScope scope_;
  const test::TemporaryDirectory directory_;
  const std::string program_ = directory_ / "program";
  const code::KeyPair acme_ = keyPair(1);
};

TEST_F(CodeGlanceTest, HasTheKeyUnderWhichAnAnswerIsKept) {
  const Sleeper sleeper(program_);
  FactsKey key;
  ASSERT_TRUE(vexd::glanceAtCode(sleeper.process(), key));
  EXPECT_EQ(key, openedKey(sleeper.process()));
  EXPECT_TRUE(key.signature.isOfFile());
  struct stat status;
  ASSERT_EQ(stat(program_.c_str(), &status), 0);
  EXPECT_EQ(key.executable.kernelDevice(), status.st_dev);
  EXPECT_EQ(key.executable.inode, status.st_ino);
}

TEST_F(CodeGlanceTest, HasAnotherKeyWhenAFileHasChanged) {
  const Sleeper sleeper(program_);
  FactsKey before;
  ASSERT_TRUE(vexd::glanceAtCode(sleeper.process(), before));
  std::filesystem::remove(program_ + ".Signature.plist");
  FactsKey after;
  ASSERT_TRUE(vexd::glanceAtCode(sleeper.process(), after));
  EXPECT_NE(before, after);
  EXPECT_EQ(after, openedKey(sleeper.process()));
}

TEST_F(CodeGlanceTest, DoesNotLookAtWhoIsTraced) {
  const Sleeper sleeper(program_);
  ASSERT_EQ(ptrace(PTRACE_SEIZE, sleeper.pid(), nullptr, nullptr), 0);
  FactsKey key;
  EXPECT_FALSE(vexd::glanceAtCode(sleeper.process(), key));
}

TEST_F(CodeGlanceTest, KnowsNothingOfWhoHasEnded) {
  Sleeper sleeper(program_);
  kill(sleeper.pid(), SIGKILL);
  siginfo_t information{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(sleeper.pid()), &information, WEXITED | WNOWAIT), 0);
  FactsKey key;
  EXPECT_FALSE(vexd::glanceAtCode(sleeper.process(), key));
  sleeper.end();
  EXPECT_FALSE(vexd::glanceAtCode(sleeper.process(), key));
  EXPECT_FALSE(vexd::glanceAtCode(openFile("/dev/null").get(), key));
}

TEST_F(CodeGlanceTest, HasNoKeyOfAnAnswerForAFileThatWasReplaced) {
  const Sleeper sleeper(program_);
  std::filesystem::rename(program_, directory_ / "moved");
  std::filesystem::copy_file("/bin/sleep", program_);
  FactsKey key;
  ASSERT_TRUE(vexd::glanceAtCode(sleeper.process(), key));
  EXPECT_EQ(key.name, "moved");
  EXPECT_EQ(key, openedKey(sleeper.process()));
  std::filesystem::remove(directory_ / "moved");
  ASSERT_TRUE(vexd::glanceAtCode(sleeper.process(), key));
  EXPECT_NE(key, openedKey(sleeper.process()));
}

}  // namespace
}  // namespace vanto::testing
