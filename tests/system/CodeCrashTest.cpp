// SPDX-License-Identifier: Apache-2.0

// The code-signing service is killed while a service waits for its answer, at one system call after the other.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>

#include "support/RunningManager.h"
#include "support/SettledFile.h"
#include "system/CodeClients.h"
#include "system/StepKiller.h"

namespace vanto::test {
namespace {

constexpr const char* vexdName = "org.vanto.vexd";

class CodeCrash : public CodeClients {
 protected:
  CodeCrash() { endVexd(); }

  enum class Answer { Known, Unknown };

  /// Sees to it that the code-signing service has to read everything anew, or, for what is known, not.
  void prepare(Answer answer) const {
    // Nothing is kept of what has changed lately.
    if (answer == Answer::Unknown) return std::filesystem::permissions(trusted_, std::filesystem::perms::owner_all);
    EXPECT_EQ(callBy(trusted_), "served");
  }

  /// What became of one client.
  struct Outcome {
    std::string line;
    bool wasKilled = false;
    /// What the service said of it.
    Lines log;
  };

  /// Has a client call while the killer waits for the step.
  [[nodiscard]] Outcome callBeforeStep(StepKiller& killer) const {
    const std::size_t logged = service_->log().size();
    const auto start = std::chrono::steady_clock::now();
    const CodeClient client(trusted_, {"call", name});
    Outcome outcome{client.line(), false, {}};
    // The service waits two seconds; the rest is for a machine that is busy.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    outcome.wasKilled = killer.hasKilled();
    const Lines log = service_->log();
    outcome.log.assign(log.begin() + static_cast<std::ptrdiff_t>(logged), log.end());
    const std::string about = "3 Could not get dynamic code reference for client: " + std::to_string(client.pid());
    for (const std::string& line : outcome.log) EXPECT_TRUE(line.starts_with(about)) << line;
    return outcome;
  }

  /// Nothing but an answer lets a client in, and who gets none is told why in the log.
  static void expectServedOrRefused(const Outcome& outcome, const std::vector<std::string>& statuses) {
    if (outcome.line == "served") {
      EXPECT_EQ(outcome.log, Lines{});
      return;
    }
    EXPECT_EQ(outcome.line, refusedCode);
    ASSERT_EQ(outcome.log.size(), 1U);
    const std::string status = outcome.log[0].substr(outcome.log[0].rfind(' ') + 1);
    EXPECT_NE(std::ranges::find(statuses, status), statuses.end()) << status;
  }

  /// The process that digests; 0 when there is none.
  [[nodiscard]] static pid_t childOf(pid_t process) {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
      std::ifstream children(thread.path() / "children");
      if (pid_t child = 0; children >> child) return child;
    }
    return 0;
  }

  /// Makes a killer for a step, of a code-signing service that is ready.
  using Aim = std::function<std::unique_ptr<StepKiller>(int step)>;

  /// Has a client call while the code-signing service is killed at one step after the other, `stride` apart, until it
  /// has answered before. All outcomes of those that were killed.
  [[nodiscard]] std::vector<Outcome> outcomesOfSteps(int stride, const std::vector<std::string>& statuses,
                                                     const Aim& aim) const {
    constexpr int mostSteps = 10'000;
    std::vector<Outcome> outcomes;
    for (int step = 1; step < mostSteps; step += stride) {
      const std::unique_ptr<StepKiller> killer = aim(step);
      Outcome outcome = callBeforeStep(*killer);
      expectServedOrRefused(outcome, statuses);
      if (!outcome.wasKilled) break;
      outcomes.push_back(std::move(outcome));
    }
    RecordProperty("kills", static_cast<int>(outcomes.size()));
    RecordProperty("refused", static_cast<int>(countRefused(outcomes)));
    return outcomes;
  }
  [[nodiscard]] static std::ptrdiff_t countRefused(const std::vector<Outcome>& outcomes) {
    return std::ranges::count(outcomes, refusedCode, &Outcome::line);
  }

  /// Until a process that was killed has ended, whether anybody has waited for it or not.
  static void awaitDeath(pid_t process) {
    const Fd descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd set{descriptor.get(), POLLIN, 0};
    EXPECT_TRUE(!descriptor || poll(&set, 1, 60'000) == 1);
  }

  /// The process that digests for `vexd`, which has one by then.
  [[nodiscard]] pid_t digesterOf(pid_t vexd) const {
    prepare(Answer::Unknown);
    EXPECT_EQ(callBy(trusted_), "served");
    const pid_t digester = childOf(vexd);
    EXPECT_NE(digester, 0);
    return digester;
  }
};

TEST_F(CodeCrash, RefusesAClientThatNobodyIsLeftToLookAt) {
  startVexd();
  startService({"signer \"acme\""});
  const auto outcomes = outcomesOfSteps(3, {"-1"}, [this](int step) {
    endVexd();
    startVexd();
    awaitSocket(vexdName);
    EXPECT_EQ(callBy(trusted_), "served") << "step " << step;
    prepare(Answer::Unknown);
    return std::make_unique<StepKiller>(vexd_->pid(), StepKiller::Victim::Process, step);
  });
  EXPECT_GT(countRefused(outcomes), 5);
}

TEST_F(CodeCrash, RefusesAClientWhoseExecutableNobodyIsLeftToDigest) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to trace the digester, which keeps its memory to itself";
  startVexd();
  startService({"signer \"acme\""});
  pid_t digester = 0;
  const auto outcomes = outcomesOfSteps(1, {"-1"}, [&](int step) {
    if (digester != 0) awaitDeath(digester);
    digester = digesterOf(vexd_->pid());
    prepare(Answer::Unknown);
    return std::make_unique<StepKiller>(vexd_->pid(), StepKiller::Victim::Child, step, digester);
  });
  EXPECT_GT(countRefused(outcomes), 5);
}

TEST_F(CodeCrash, RefusesAClientWhoseExecutableIsToBeDigestedByWhoNeverStarts) {
  startVexd();
  startService({"signer \"acme\""});
  const auto outcomes = outcomesOfSteps(7, {"-1"}, [this](int step) {
    // It is missed when the next one needs it.
    const pid_t digester = digesterOf(vexd_->pid());
    kill(digester, SIGKILL);
    awaitDeath(digester);
    prepare(Answer::Unknown);
    return std::make_unique<StepKiller>(vexd_->pid(), StepKiller::Victim::Child, step);
  });
  EXPECT_GT(countRefused(outcomes), 5);
}

#ifdef VANTO_TEST_MANAGER
/// A test whose code-signing service is started again by a manager.
class ManagedCodeCrash : public CodeCrash {
 protected:
  ManagedCodeCrash()
      : manager_({VANTO_TEST_MANAGER,
                  VANTO_TEST_PROXY,
                  directory_.path(),
                  {"--keep", "XDG_CONFIG_HOME", "--keep", "ASAN_OPTIONS", "--keep", "LLVM_PROFILE_FILE"}}) {
    EXPECT_TRUE(manager_.start());
    EXPECT_EQ(manager_.load(vexdName, VANTO_TEST_VEXD), "");
    startService({"signer \"acme\""});
  }

  /// Starts the code-signing service without the pause that it has earned. Its process.
  [[nodiscard]] pid_t restartVexd() const {
    const IpcPointer reply = manager_.order("start", vexdName);
    EXPECT_EQ(RunningManager::errorIn(reply.get()), "");
    return static_cast<pid_t>(vanto_int64_get_value(vanto_dictionary_get_value(reply.get(), "pid")));
  }
  /// Until the manager, too, knows that a process has ended.
  static void awaitEnd(pid_t process) {
    for (int i = 0; i < 60'000 && kill(process, 0) == 0; ++i) usleep(1000);
  }

  void killAtEachStep(Answer answer, int stride) {
    pid_t vexd = 0;
    // Asked once more over a new connection, the next one answers, unless it is started too late for that.
    const auto outcomes = outcomesOfSteps(stride, {"-1", "-6"}, [&](int step) {
      if (vexd != 0) awaitEnd(vexd);
      vexd = restartVexd();
      EXPECT_EQ(callBy(trusted_), "served") << "step " << step;
      prepare(answer);
      return std::make_unique<StepKiller>(vexd, StepKiller::Victim::Process, step);
    });
    EXPECT_GT(outcomes.size(), 5U);
    EXPECT_EQ(callBy(trusted_), "served");
    EXPECT_EQ(callBy(stranger_), refusedCode);
  }

  RunningManager manager_;
};

TEST_F(ManagedCodeCrash, LetsNobodyWaitWhenItIsKilledWhileItDigests) {
  killAtEachStep(Answer::Unknown, 5);
}

TEST_F(ManagedCodeCrash, LetsNobodyWaitWhenItIsKilledWhileItLooksUpWhatItKnows) {
  vanto::testing::settle(trusted_ + ".Signature.plist");
  vanto::testing::settle(trust_);
  killAtEachStep(Answer::Known, 1);
}
#endif

}  // namespace
}  // namespace vanto::test
