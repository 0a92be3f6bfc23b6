// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigesterProcess.h"

#include <chrono>
#include <filesystem>

#include <poll.h>

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

TEST_F(DigesterProcessTest, EndsInTheMidstOfAFileWithWhoAsked) {
  const std::string path = directory_ / "long";
  writeContents(path, "x");
  std::filesystem::resize_file(path, std::uintmax_t{256} << 20);
  vexd::DigestRequest request;
  request.files.executable = openFile(path);
  DigesterProcess process(VANTO_TEST_DIGESTER);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(process.ask(request, generous, always));
  const auto whole = std::chrono::steady_clock::now() - start;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd receiving(ends[0]);
  const Fd sending(ends[1]);
  const pid_t asker = fork();
  if (asker == 0) {
    DigesterProcess another(VANTO_TEST_DIGESTER);
    // Asked for the first time once there is nothing left to do but to read.
    static_cast<void>(another.ask(request, generous, [&] {
      const pid_t pid = another.pid();
      return write(sending.get(), &pid, sizeof pid) == sizeof pid;
    }));
    _exit(0);
  }
  pid_t digester = 0;
  ASSERT_EQ(read(receiving.get(), &digester, sizeof digester), static_cast<ssize_t>(sizeof digester));
  const Fd watched(static_cast<int>(syscall(SYS_pidfd_open, digester, 0)));
  kill(digester, SIGSTOP);
  kill(asker, SIGKILL);
  waitpid(asker, nullptr, 0);
  const auto alone = std::chrono::steady_clock::now();
  kill(digester, SIGCONT);
  pollfd set{watched.get(), POLLIN, 0};
  ASSERT_EQ(poll(&set, 1, 60'000), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - alone, whole / 2);
}

TEST_F(DigesterProcessTest, GivesNoAnswerWithoutItsProgram) {
  DigesterProcess missing("/nowhere/digester");
  EXPECT_FALSE(missing.ask(request(), generous, always));
  DigesterProcess other("/bin/true");
  EXPECT_FALSE(other.ask(request(), generous, always));
}

}  // namespace
}  // namespace vanto::testing
