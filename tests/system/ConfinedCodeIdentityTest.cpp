// SPDX-License-Identifier: Apache-2.0
// A service that is confined by a profile of its bundle judges its clients as one that is not, and its profile says
// nothing about it.
#include <filesystem>
#include <functional>
#include <regex>

#include "host/ipc/IPCFixture.h"
#include "support/HiddenCalls.h"
#include "system/CodeClients.h"

namespace vanto::test {
namespace {

class ConfinedCodeIdentity : public CodeClients {
 protected:
  enum class Confined { No, Yes };
  enum class Kernel { This, Older };

  void startJudge(const std::vector<std::string>& texts, Confined confined, const char* profile = tight,
                  Kernel kernel = Kernel::This) {
    BundleBuilder bundle = nextService(texts);
    if (confined == Confined::Yes) {
      bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("tight")).resource("tight.sb", profile);
    }
    bundle.build();
    service_ = std::make_unique<ServiceProcess>(bundle.executablePath("service"), std::vector<std::string>{"echo"},
                                                ServiceProcess::Traced::No, [kernel] {
                                                  if (kernel == Kernel::Older) vanto::testing::hideProcessInformation();
                                                });
    awaitSocket(name);
    awaitSocket("org.vanto.vexd");
  }

  /// What clients of every sort come to, in words, and what the service says to its log, without process ids.
  [[nodiscard]] Lines verdicts() const {
    Lines lines;
    const auto add = [&](const std::string& what, const std::string& result) {
      lines.push_back(what + ": " + result);
    };
    const auto call = [&](const std::string& program, const char* mode) {
      return CodeClient(program, {mode, name}).line();
    };
    add("signed", call(trusted_, "call"));
    add("signed again", call(trusted_, "call"));
    add("unsigned", call(stranger_, "call"));
    add("traced", call(trusted_, "call-traced"));
    add("passed on", call(trusted_, "pass-on"));
    add("becomes another", CodeClient(trusted_, {"become-other", name, stranger_}).line());
    for (std::string line : service_->log()) {
      lines.push_back(std::regex_replace(line, std::regex("client: [0-9]+"), "client: N"));
    }
    return lines;
  }

  /// The same for a service that is confined and one that is not.
  void expectTheSame(const std::vector<std::string>& texts, const std::string& ofSigned,
                     const std::string& ofUnsigned) {
    startJudge(texts, Confined::No);
    const Lines expected = verdicts();
    EXPECT_EQ(expected[0], "signed: " + ofSigned);
    EXPECT_EQ(expected[2], "unsigned: " + ofUnsigned);
    for (const char* profile : {tight, "include base\nnetwork none\n"}) {
      startJudge(texts, Confined::Yes, profile);
      EXPECT_EQ(verdicts(), expected) << texts[0];
    }
  }

  static constexpr const char* tight = "network none\nrequire read write network processes\n";
};

TEST_F(ConfinedCodeIdentity, DecidesAsAnUnconfinedServiceDoes) {
  const auto digest = code::digestOf(vanto::testing::contentsOf(stranger_));
  expectTheSame({"identifier \"org.other\"", "identifier \"org.vanto.test.client\" and signer \"acme\""}, "served",
                refusedCode);
  expectTheSame({"signer \"somebody\""}, refusedCode, refusedCode);
  expectTheSame({"entitlement \"org.vanto.test\" = \"granted\""}, "served", refusedCode);
  expectTheSame({"not valid and digest \"" + code::hexText(*digest) + "\""}, refusedCode, "served");
  expectTheSame({"valid or not valid"}, "served", "served");
  expectTheSame({"nonsense", "valid"}, refusedCode, refusedCode);
}

TEST_F(ConfinedCodeIdentity, DecidesTheSameWhereTheKernelTellsLessOfProcesses) {
  startJudge({"signer \"acme\""}, Confined::No);
  const Lines expected = verdicts();
  startJudge({"signer \"acme\""}, Confined::Yes, tight, Kernel::Older);
  EXPECT_EQ(verdicts(), expected);
}

TEST_F(ConfinedCodeIdentity, DropsWhoExecutesATrustedProgramWhileItIsNotLookedAt) {
  startJudge({"signer \"acme\""}, Confined::Yes);
  EXPECT_EQ(callBy(trusted_), "served");
  kill(service_->pid(), SIGSTOP);
  int stopped = 0;
  ASSERT_EQ(waitpid(service_->pid(), &stopped, WUNTRACED), service_->pid());
  const CodeClient attacker(stranger_, {"become-trusted", name, trusted_});
  EXPECT_EQ(attacker.line(), "connected");
  EXPECT_EQ(attacker.line(), "holding");
  kill(service_->pid(), SIGCONT);
  EXPECT_EQ(attacker.line(), "dropped");
}

TEST_F(ConfinedCodeIdentity, RefusesEverybodyWithoutACodeSigningService) {
  startJudge({"valid"}, Confined::Yes);
  EXPECT_EQ(callBy(trusted_), "served");
  endVexd();
  EXPECT_EQ(callBy(trusted_), refusedCode);
}

TEST_F(ConfinedCodeIdentity, TellsAClientThatItIsRefusedWhenItCannotBeLookedAtAgain) {
  startJudge({"valid"}, Confined::Yes);
  CodeClient client(trusted_, {"answer-when-told", name});
  EXPECT_EQ(client.line(), "greeted");
  endVexd();
  client.tell();
  EXPECT_EQ(client.line(), refusedCode);
}

TEST_F(ConfinedCodeIdentity, FindsACodeSigningServiceThatTookThePlaceOfAnother) {
  startJudge({"valid"}, Confined::Yes);
  EXPECT_EQ(callBy(trusted_), "served");
  endVexd();
  startVexd();
  awaitSocket("org.vanto.vexd");
  EXPECT_EQ(callBy(trusted_), "served");
}

}  // namespace
}  // namespace vanto::test
