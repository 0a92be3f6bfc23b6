// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigesterProcess.h"

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

using vexd::DigesterProcess;

constexpr std::uint64_t generous = 60'000'000'000;

bool always() {
  return true;
}

class DigesterProcessTest : public SignedCode {
 protected:
  [[nodiscard]] vexd::DigestRequest request() const {
    vexd::DigestRequest result;
    result.files.name = "single";
    result.files.executable = openFile(single_);
    result.files.signature = openFile(single_ + ".Signature.plist");
    result.trust = trustIn(acme_);
    return result;
  }
};

TEST_F(DigesterProcessTest, AnswersAsManyRequestsAsItIsAsked) {
  sign(single_, acme_);
  DigesterProcess process(VANTO_TEST_DIGESTER);
  EXPECT_EQ(process.pid(), 0);
  for (int i = 0; i < 3; ++i) {
    const auto answer = process.ask(request(), generous, always);
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->isValid) << answer->reason;
  }
}

TEST_F(DigesterProcessTest, IsStartedAnewWhenItHasEnded) {
  DigesterProcess process(VANTO_TEST_DIGESTER);
  ASSERT_TRUE(process.ask(request(), generous, always));
  const pid_t first = process.pid();
  kill(first, SIGKILL);
  siginfo_t information{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(first), &information, WEXITED | WNOWAIT), 0);
  ASSERT_TRUE(process.ask(request(), generous, always));
  EXPECT_NE(process.pid(), first);
}

TEST_F(DigesterProcessTest, IsEndedWhenItTakesTooLong) {
  DigesterProcess process(VANTO_TEST_DIGESTER);
  ASSERT_TRUE(process.ask(request(), generous, always));
  kill(process.pid(), SIGSTOP);
  EXPECT_FALSE(process.ask(request(), 10'000'000, always));
  EXPECT_EQ(process.outcome(), DigesterProcess::Outcome::TookTooLong);
  EXPECT_EQ(process.pid(), 0);
  EXPECT_TRUE(process.ask(request(), generous, always));
}

TEST_F(DigesterProcessTest, IsEndedWhenItIsNotWantedAnyMore) {
  DigesterProcess process(VANTO_TEST_DIGESTER);
  ASSERT_TRUE(process.ask(request(), generous, always));
  kill(process.pid(), SIGSTOP);
  int asked = 0;
  EXPECT_FALSE(process.ask(request(), generous, [&asked] { return ++asked < 3; }));
  EXPECT_EQ(process.outcome(), DigesterProcess::Outcome::Unwanted);
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(process.pid(), 0);
  EXPECT_TRUE(process.ask(request(), generous, always));
  EXPECT_EQ(process.outcome(), DigesterProcess::Outcome::Answered);
}

TEST_F(DigesterProcessTest, GivesNoAnswerWithoutItsProgram) {
  DigesterProcess missing("/nowhere/digester");
  EXPECT_FALSE(missing.ask(request(), generous, always));
  DigesterProcess other("/bin/true");
  EXPECT_FALSE(other.ask(request(), generous, always));
}

}  // namespace
}  // namespace vanto::testing
