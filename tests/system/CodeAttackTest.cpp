// SPDX-License-Identifier: Apache-2.0

// What others do to be taken for a trusted program. Honest clients are served all the while.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <iterator>
#include <thread>

#include "system/CodeClients.h"

namespace vanto::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int slowness = 10;
#else
constexpr int slowness = 1;
#endif

class CodeAttack : public CodeClients {
 protected:
  CodeAttack() { startService({"identifier \"org.vanto.test.client\" and signer \"acme\""}); }

  /// Until it is sent SIGCONT, clients wait for it.
  void stopService() const {
    kill(service_->pid(), SIGSTOP);
    int status = 0;
    ASSERT_EQ(waitpid(service_->pid(), &status, WUNTRACED), service_->pid());
  }

  /// Attacks while another thread has honest clients call, one after another: each of them is served.
  void amongHonestClients(const std::function<void()>& attack) const {
    std::atomic<bool> isOver{false};
    int calls = 0;
    int served = 0;
    std::thread honest([&] {
      for (; !isOver; ++calls) served += callBy(trusted_) == "served" ? 1 : 0;
    });
    attack();
    isOver = true;
    honest.join();
    RecordProperty("honest", calls);
    EXPECT_EQ(served, calls);
    EXPECT_GT(calls, 0);
  }

  /// Descriptors of the service when the last client is forgotten: the fewest after some calls, or as few as `wanted`.
  [[nodiscard]] std::ptrdiff_t fewestDescriptors(int calls, std::ptrdiff_t wanted) const {
    std::ptrdiff_t fewest = PTRDIFF_MAX;
    for (int i = 0; i < calls && fewest > wanted; ++i) {
      EXPECT_EQ(callBy(trusted_), "served");
      const std::filesystem::directory_iterator list("/proc/" + std::to_string(service_->pid()) + "/fd");
      fewest = std::min(fewest, std::distance(begin(list), end(list)));
    }
    return fewest;
  }
};

TEST_F(CodeAttack, AClientThatExecutesATrustedProgramWhileAnotherKeepsItsSocketIsNotServed) {
  amongHonestClients([&] {
    constexpr int attempts = 1000 / slowness;
    int served = 0;
    for (int i = 0; i < attempts; ++i) {
      // Every other time the service looks when the process is the trusted program already.
      const bool isLate = i % 2 == 1;
      if (isLate) stopService();
      const CodeClient attacker(stranger_, {"become-trusted", name, trusted_});
      ASSERT_EQ(attacker.line(), "connected");
      if (isLate) {
        ASSERT_EQ(attacker.line(), "holding");
        kill(service_->pid(), SIGCONT);
        ASSERT_EQ(attacker.line(), "dropped");
      } else {
        for (int lines = 0; lines < 2; ++lines) {
          const std::string line = attacker.line();
          if (line == "served") ++served;
          ASSERT_TRUE(line == "refused" || line == "dropped" || line == "holding" || line == "served") << line;
        }
      }
    }
    EXPECT_EQ(served, 0);
  });
}

TEST_F(CodeAttack, AProgramThatATrustedOneBecomesIsNotServedUnlessItIsTheSame) {
  for (const char* kind : {"echo", "confined-echo"}) {
    startService({"signer \"acme\""}, kind);
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(CodeClient(trusted_, {"become-other", name, stranger_}).line(), "dropped") << kind;
      EXPECT_EQ(CodeClient(trusted_, {"become-other", name, trusted_}).line(), "served") << kind;
      EXPECT_EQ(CodeClient(stranger_, {"become-other", name, trusted_}).line(), "refused") << kind;
    }
  }
}

TEST_F(CodeAttack, AConnectionThatIsPassedOnEndsWithItsFirstMessage) {
  amongHonestClients([&] {
    for (int i = 0; i < 100 / slowness; ++i) {
      EXPECT_EQ(CodeClient(trusted_, {"pass-on", name}).line(), "dropped");
      EXPECT_EQ(callBy(trusted_), "served");
    }
  });
}

TEST_F(CodeAttack, AConnectionOfATrustedProgramInANamespaceWhoseRootSpeaksForItIsNotServed) {
  for (const char* kind : {"echo", "confined-echo"}) {
    startService({"identifier \"org.vanto.test.client\" and signer \"acme\""}, kind);
    for (int i = 0; i < 100 / slowness; ++i) {
      // Every other time the service looks when the process is the trusted program already.
      const bool isLate = i % 2 == 1;
      if (isLate) stopService();
      const CodeClient attacker(stranger_, {"forge", name, trusted_});
      std::string line = attacker.line();
      if (line == "no namespace") kill(service_->pid(), SIGCONT);
      if (line == "no namespace") GTEST_SKIP() << "no user and pid namespaces may be made here";
      ASSERT_EQ(line, "connected");
      if (isLate) {
        ASSERT_EQ(attacker.line(), "holding");
        kill(service_->pid(), SIGCONT);
      }
      line = attacker.line();
      if (line == "holding") line = attacker.line();
      ASSERT_EQ(line, "refused") << kind;
      if (i % 20 == 0) {
        ASSERT_EQ(callBy(trusted_), "served");
      }
    }
    for (const std::string& line : service_->log()) EXPECT_TRUE(line.ends_with("; status: -3")) << line;
  }
}

TEST_F(CodeAttack, AServiceInANamespaceWhoseRootSpeaksForItHasNoCode) {
  constexpr auto forged = "org.vanto.test.forged";
  const CodeClient service(stranger_, {"forge-service", forged, trusted_});
  const std::string line = service.line();
  if (line == "no namespace") GTEST_SKIP() << "no user and pid namespaces may be made here";
  ASSERT_EQ(line, "holding");
  EXPECT_EQ(CodeClient(trusted_, {"look-at-service", forged}).line(), "the process is in a foreign pid namespace");
}

TEST_F(CodeAttack, AProcessIdThatATrustedProgramGotLaterDoesNotHelp) {
  amongHonestClients([&] {
    constexpr int attempts = 200 / slowness;
    int served = 0;
    for (int i = 0; i < attempts; ++i) {
      stopService();
      CodeClient attacker(stranger_, {"leave-socket", name});
      ASSERT_EQ(attacker.line(), "connected");
      const pid_t pid = attacker.pid();
      attacker.awaitEnd();
      const CodeClient trusted(trusted_, {"hold"}, pid);
      if (!trusted.hasStarted() && errno == EPERM) {
        kill(service_->pid(), SIGCONT);
        GTEST_SKIP() << "only root can choose a process id";
      }
      ASSERT_EQ(trusted.pid(), pid);
      ASSERT_EQ(trusted.line(), "holding");
      kill(service_->pid(), SIGCONT);
      const std::string line = attacker.line();
      if (line == "served") ++served;
      ASSERT_TRUE(line == "refused" || line == "served") << line;
    }
    EXPECT_EQ(served, 0);
  });
}

TEST_F(CodeAttack, ClientsWithEndlessExecutablesKeepNobodyWaiting) {
  std::vector<std::string> endless;
  for (const char* file : {"endless1", "endless2"}) {
    endless.push_back(directory_ / file);
    std::filesystem::copy_file(stranger_, endless.back());
    ASSERT_EQ(truncate(endless.back().c_str(), off_t{1} << 40), 0);
  }
  for (int i = 0; i < 10; ++i) {
    const CodeClient one(endless[0], {"call", name});
    const CodeClient other(endless[1], {"call", name});
    // Signed anew each time, so that nothing is known of it.
    vanto::testing::signFile(trusted_, acme_, "org.vanto.test.client");
    EXPECT_EQ(callBy(trusted_), "served");
    EXPECT_EQ(one.line(), refusedCode);
    EXPECT_EQ(other.line(), refusedCode);
  }
}

TEST_F(CodeAttack, AProgramThatPutsATrustedOneInItsPlaceIsNotServed) {
  const std::string place = directory_ / "place";
  const std::string prepared = directory_ / "prepared/place";
  const std::string signature = ".Signature.plist";
  std::filesystem::create_directory(directory_ / "prepared");
  for (const bool isTrustedFirst : {false, true}) {
    std::filesystem::remove(place);
    std::filesystem::copy_file(isTrustedFirst ? trusted_ : stranger_, place);
    std::filesystem::copy_file(trusted_, prepared);
    vanto::testing::signFile(prepared, acme_, "org.vanto.test.client");
    CodeClient attacker(place, {"call-when-told", name});
    ASSERT_EQ(attacker.line(), "waiting");
    std::filesystem::rename(prepared, place);
    std::filesystem::rename(prepared + signature, place + signature);
    attacker.tell();
    // What runs is not what lies there, be it the same.
    EXPECT_EQ(attacker.line(), refusedCode);
    EXPECT_EQ(callBy(place), "served");
  }
}

TEST_F(CodeAttack, ClientsThatAreKilledAtAnyStepLeaveNothingBehind) {
  const std::ptrdiff_t before = fewestDescriptors(10, 0);
  amongHonestClients([&] {
    for (int i = 0; i < 20; ++i) {
      for (const char* step : {"connected", "greeted", "answered", "asked"}) {
        CodeClient client(trusted_, {"die", step, name});
        client.awaitEnd();
      }
    }
  });
  EXPECT_LE(fewestDescriptors(1000, before), before);
}

}  // namespace
}  // namespace vanto::test
