// SPDX-License-Identifier: Apache-2.0

// The code-signing service is killed while a service waits for its answer, at one system call after the other.
#include <algorithm>
#include <chrono>
#include <ctime>
#include <fstream>

#include <sys/stat.h>

#include "support/RunningManager.h"
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
    // Nothing is kept while whom to trust has changed lately.
    if (answer == Answer::Unknown) return std::filesystem::permissions(trust_, std::filesystem::perms::owner_all);
    EXPECT_EQ(callBy(trusted_), "served");
  }

  /// Until the last change of a file is so long ago that what was read of it is kept.
  static void awaitAge(const std::string& path) {
    struct stat status;
    timespec now{};
    do {
      usleep(20'000);
      ASSERT_EQ(stat(path.c_str(), &status), 0);
      clock_gettime(CLOCK_REALTIME, &now);
    } while (now.tv_sec - status.st_ctim.tv_sec < 3);
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

  static constexpr int mostSteps = 10'000;
};

TEST_F(CodeCrash, RefusesAClientThatNobodyIsLeftToLookAt) {
  startVexd();
  startService({"signer \"acme\""});
  int refused = 0;
  int step = 1;
  for (bool goesOn = true; goesOn && step < mostSteps; ++step) {
    endVexd();
    startVexd();
    awaitSocket(vexdName);
    EXPECT_EQ(callBy(trusted_), "served") << "step " << step;
    prepare(Answer::Unknown);
    StepKiller killer(vexd_->pid(), StepKiller::Victim::Process, step);
    const Outcome outcome = callBeforeStep(killer);
    expectServedOrRefused(outcome, {"-1"});
    goesOn = outcome.wasKilled;
    refused += outcome.line == refusedCode;
  }
  EXPECT_GT(refused, 5);
  RecordProperty("steps", step);
  RecordProperty("refused", refused);
}

TEST_F(CodeCrash, RefusesAClientWhoseExecutableNobodyIsLeftToDigest) {
  startVexd();
  startService({"signer \"acme\""});
  int refused = 0;
  int step = 1;
  for (bool goesOn = true; goesOn && step < mostSteps; ++step) {
    prepare(Answer::Unknown);
    // Started anew, after the last one was killed.
    EXPECT_EQ(callBy(trusted_), "served") << "step " << step;
    const pid_t digester = childOf(vexd_->pid());
    ASSERT_NE(digester, 0);
    prepare(Answer::Unknown);
    StepKiller killer(vexd_->pid(), StepKiller::Victim::Child, step, digester);
    const Outcome outcome = callBeforeStep(killer);
    expectServedOrRefused(outcome, {"-1"});
    goesOn = outcome.wasKilled;
    refused += outcome.line == refusedCode;
  }
  EXPECT_GT(refused, 5);
  RecordProperty("steps", step);
  RecordProperty("refused", refused);
}

TEST_F(CodeCrash, RefusesAClientWhoseExecutableIsToBeDigestedByWhoNeverStarts) {
  startVexd();
  startService({"signer \"acme\""});
  int refused = 0;
  int step = 1;
  for (bool goesOn = true; goesOn && step < mostSteps; step += 7) {
    prepare(Answer::Unknown);
    EXPECT_EQ(callBy(trusted_), "served") << "step " << step;
    const pid_t digester = childOf(vexd_->pid());
    ASSERT_NE(digester, 0);
    // It is missed when the next one needs it.
    kill(digester, SIGKILL);
    prepare(Answer::Unknown);
    StepKiller killer(vexd_->pid(), StepKiller::Victim::Child, step);
    const Outcome outcome = callBeforeStep(killer);
    expectServedOrRefused(outcome, {"-1"});
    goesOn = outcome.wasKilled;
    refused += outcome.line == refusedCode;
  }
  EXPECT_GT(refused, 5);
  RecordProperty("steps", step);
  RecordProperty("refused", refused);
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

  /// Kills it at one step after the other, `stride` apart, while it answers.
  void killAtEachStep(Answer answer, int stride) {
    int kills = 0;
    int served = 0;
    int step = 1;
    for (bool goesOn = true; goesOn && step < mostSteps; step += stride) {
      const pid_t vexd = restartVexd();
      EXPECT_EQ(callBy(trusted_), "served") << "step " << step;
      prepare(answer);
      StepKiller killer(vexd, StepKiller::Victim::Process, step);
      const Outcome outcome = callBeforeStep(killer);
      // Asked once more over a new connection, the next one answers, unless it is started too late for that.
      expectServedOrRefused(outcome, {"-1", "-6"});
      goesOn = outcome.wasKilled;
      kills += outcome.wasKilled;
      served += outcome.wasKilled && outcome.line == "served";
      if (outcome.wasKilled) awaitEnd(vexd);
    }
    EXPECT_GT(kills, 5);
    EXPECT_EQ(callBy(trusted_), "served");
    EXPECT_EQ(callBy(stranger_), refusedCode);
    RecordProperty("kills", kills);
    RecordProperty("served", served);
  }

  RunningManager manager_;
};

TEST_F(ManagedCodeCrash, LetsNobodyWaitWhenItIsKilledWhileItDigests) {
  killAtEachStep(Answer::Unknown, 5);
}

TEST_F(ManagedCodeCrash, LetsNobodyWaitWhenItIsKilledWhileItLooksUpWhatItKnows) {
  awaitAge(trusted_ + ".Signature.plist");
  awaitAge(trust_);
  killAtEachStep(Answer::Known, 1);
}
#endif

}  // namespace
}  // namespace vanto::test
