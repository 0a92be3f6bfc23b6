// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto_code.h>

#include "host/ipc/IPCFixture.h"
#include "support/LeftObjects.h"
#include "support/OpenDescriptors.h"
#include "system/CodeClients.h"

namespace vanto::test {
namespace {

class CodeIdentity : public CodeClients {
 protected:
  [[nodiscard]] std::string lineOf(pid_t pid, int status) const {
    return "3 Could not get dynamic code reference for client: " + std::to_string(pid) +
           "; status: " + std::to_string(status);
  }
};

TEST_F(CodeIdentity, AdmitsAClientThatSatisfiesTheSecondOfTwoRequirements) {
  startService({"identifier \"org.other\"", "identifier \"org.vanto.test.client\" and signer \"acme\""});
  EXPECT_EQ(callBy(trusted_), "served");
  EXPECT_EQ(callBy(trusted_), "served");
  EXPECT_EQ(service_->log(), Lines{});
}

TEST_F(CodeIdentity, RefusesSilentlyWhoSatisfiesNone) {
  startService({"identifier \"org.other\"", "signer \"somebody\""});
  EXPECT_EQ(callBy(trusted_), refusedCode);
  EXPECT_EQ(callBy(stranger_), refusedCode);
  EXPECT_EQ(service_->log(), Lines{});
}

TEST_F(CodeIdentity, LooksAtEntitlementsDigestsAndValidity) {
  startService({"entitlement \"org.vanto.test\" = \"granted\""});
  EXPECT_EQ(callBy(trusted_), "served");
  EXPECT_EQ(callBy(stranger_), refusedCode);
  const auto digest = code::digestOf(vanto::testing::contentsOf(stranger_));
  startService({"not valid and digest \"" + code::hexText(*digest) + "\""});
  EXPECT_EQ(callBy(stranger_), "served");
  EXPECT_EQ(callBy(trusted_), refusedCode);
}

TEST_F(CodeIdentity, RefusesEverybodyAtAMalformedRequirement) {
  startService({"nonsense", "valid"});
  EXPECT_EQ(callBy(trusted_), refusedCode);
  ASSERT_EQ(service_->log().size(), 1U);
  const std::string line = service_->log()[0];
  EXPECT_TRUE(line.starts_with("3 Could not create requirement (nonsense) for client: ")) << line;
  EXPECT_NE(line.find(", :column 1 (line 1): "), std::string::npos) << line;
}

TEST_F(CodeIdentity, RefusesEverybodyWithoutACodeSigningServiceAndNobodyOnceItIsThere) {
  startService({"valid"});
  endVexd();
  const CodeClient client(trusted_, {"call", name});
  EXPECT_EQ(client.line(), refusedCode);
  EXPECT_EQ(service_->log(), Lines{lineOf(client.pid(), -1)});
  startVexd();
  awaitSocket("org.vanto.vexd");
  EXPECT_EQ(callBy(trusted_), "served");
  // Its connection to the first one has ended, and one to the next is made.
  endVexd();
  startVexd();
  awaitSocket("org.vanto.vexd");
  EXPECT_EQ(callBy(trusted_), "served");
}

TEST_F(CodeIdentity, RefusesAfterTwoSecondsWhenNoAnswerComes) {
  startService({"valid"});
  EXPECT_EQ(callBy(trusted_), "served");
  kill(vexd_->pid(), SIGSTOP);
  int stopped = 0;
  ASSERT_EQ(waitpid(vexd_->pid(), &stopped, WUNTRACED), vexd_->pid());
  const CodeClient client(trusted_, {"call", name});
  EXPECT_EQ(client.line(), refusedCode);
  EXPECT_EQ(service_->log(), Lines{lineOf(client.pid(), -6)});
  kill(vexd_->pid(), SIGCONT);
  EXPECT_EQ(callBy(trusted_), "served");
}

TEST_F(CodeIdentity, RefusesWhoIsTraced) {
  startService({"valid"});
  const CodeClient client(trusted_, {"call-traced", name});
  EXPECT_EQ(client.line(), refusedCode);
  // Its status tells that it was traced: 0, not 1. It is left for its object.
  siginfo_t end{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(client.pid()), &end, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(end.si_code, CLD_EXITED);
  EXPECT_EQ(end.si_status, 0);
  EXPECT_EQ(service_->log(), Lines{lineOf(client.pid(), -5)});
}

TEST_F(CodeIdentity, IsTheSameForAConfinedService) {
  startService({"identifier \"org.other\"", "signer \"acme\""}, "confined-echo");
  EXPECT_EQ(callBy(trusted_), "served");
  EXPECT_EQ(callBy(stranger_), refusedCode);
  EXPECT_EQ(CodeClient(trusted_, {"call-traced", name}).line(), refusedCode);
  EXPECT_EQ(CodeClient(trusted_, {"pass-on", name}).line(), "dropped");
  endVexd();
  EXPECT_EQ(callBy(trusted_), refusedCode);
}

TEST_F(CodeIdentity, SeesWhenTrustOrCodeChanges) {
  startService({"signer \"acme\""});
  EXPECT_EQ(callBy(trusted_), "served");
  std::filesystem::rename(trust_ + "/acme.plist", directory_ / "acme.plist");
  EXPECT_EQ(callBy(trusted_), refusedCode);
  std::filesystem::rename(directory_ / "acme.plist", trust_ + "/acme.plist");
  EXPECT_EQ(callBy(trusted_), "served");
  const std::string signature = trusted_ + ".Signature.plist";
  const std::string bytes = vanto::testing::contentsOf(signature);
  std::filesystem::remove(signature);
  EXPECT_EQ(callBy(trusted_), refusedCode);
  vanto::testing::writeContents(signature, bytes);
  EXPECT_EQ(callBy(trusted_), "served");
  vanto::testing::writeContents(trusted_, vanto::testing::contentsOf(trusted_) + "x");
  EXPECT_EQ(callBy(trusted_), refusedCode);
}

TEST_F(CodeIdentity, BelievesBundlesTooAndNotTheirCopiesElsewhere) {
  BundleBuilder bundle(directory_.path(), "Client.app");
  bundle.identifier("org.vanto.test.bundle").executableCopiedFrom(VANTO_TEST_CODE_CLIENT, "client");
  bundle.build();
  vanto::testing::signFile(bundle.path(), acme_);
  startService({"identifier \"org.vanto.test.bundle\""});
  const std::string program = bundle.executablePath("client");
  EXPECT_EQ(callBy(program), "served");
  std::filesystem::copy_file(program, directory_ / "copy");
  EXPECT_EQ(callBy(directory_ / "copy"), refusedCode);
  vanto::testing::writeContents(bundle.infoPath(), vanto::testing::contentsOf(bundle.infoPath()) + "\n");
  EXPECT_EQ(callBy(program), refusedCode);
}

TEST_F(CodeIdentity, AsksNobodyForAServiceThatAdmitsEverybody) {
  endVexd();
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_AllowedClients", BundleBuilder::array({}));
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(callOnce(*service), "");
  EXPECT_EQ(service->log(), Lines{});
}

TEST_F(CodeIdentity, GivesAProcessItsEntitlements) {
  awaitSocket("org.vanto.vexd");
  EXPECT_EQ(CodeClient(trusted_, {"entitlement", "org.vanto.test"}).line(), "granted");
  EXPECT_EQ(CodeClient(trusted_, {"entitlement", "org.vanto.other"}).line(), "none");
  EXPECT_EQ(CodeClient(stranger_, {"entitlement", "org.vanto.test"}).line(), "none");
}

TEST_F(CodeIdentity, TellsAClientWhoAnswers) {
  BundleBuilder bundle = serviceBundle();
  bundle.build();
  vanto::testing::signFile(bundle.path(), acme_);
  service_ = std::make_unique<ServiceProcess>(bundle.executablePath("service"), std::vector<std::string>{"echo"});
  awaitSocket(name);
  awaitSocket("org.vanto.vexd");
  EXPECT_EQ(CodeClient(stranger_, {"look-at-service", name}).line(), name);
}

TEST_F(CodeIdentity, TellsAServiceWhoAsks) {
  awaitSocket("org.vanto.vexd");
  const std::string mine = "org.vanto.test.mine";
  Awaited<Held> codes;
  const Service service(mine.c_str(), [&codes](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) codes.add(Held(vanto_copy_peer_code(connection, generous)));
    Service::echo(connection, event);
  });
  EXPECT_EQ(CodeClient(trusted_, {"call", mine}).line(), "served");
  const Held trusted = codes.take();
  EXPECT_TRUE(vanto_bool_get_value(vanto_dictionary_get_value(trusted, "valid")));
  EXPECT_STREQ(vanto_string_get_text(vanto_dictionary_get_value(trusted, "identifier")), "org.vanto.test.client");
  const Held findings(vanto_code_check_requirement(trusted, "signer \"acme\" and identifier \"x\""));
  EXPECT_FALSE(vanto_bool_get_value(vanto_dictionary_get_value(findings, "satisfied")));
  EXPECT_EQ(vanto_array_get_count(vanto_dictionary_get_value(findings, "terms")), 2U);
  EXPECT_EQ(CodeClient(stranger_, {"call", mine}).line(), "served");
  const Held stranger = codes.take();
  EXPECT_FALSE(vanto_bool_get_value(vanto_dictionary_get_value(stranger, "valid")));
  EXPECT_STREQ(vanto_string_get_text(vanto_dictionary_get_value(stranger, "reason")), "it is not signed");
  EXPECT_EQ(codeOf(Held(vanto_copy_peer_code(service.listener(), generous))), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(Held(vanto_code_check_requirement(stranger, "nonsense"))), VANTO_ERROR_INVALID);
  // The connection to the code-signing service, and the watch that sees its end.
  vanto::testing::leaveObjects(2);
}

TEST_F(CodeIdentity, ACodeSigningServiceThatCannotListenSaysSoAndEnds) {
  awaitSocket("org.vanto.vexd");
  ServiceProcess second(VANTO_TEST_VEXD, {});
  EXPECT_EQ(second.waitForEndAsText(), "exit status 1");
  EXPECT_EQ(second.output().rfind("vexd: cannot listen: ", 0), 0U) << second.output();
  // What is to be a directory is a file.
  const std::string runtime = directory_ / "elsewhere";
  std::filesystem::create_directory(runtime);
  std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
  vanto::testing::writeContents(runtime + "/vanto", "");
  ServiceProcess nowhere(VANTO_TEST_VEXD, {}, ServiceProcess::Traced::No,
                         [&runtime] { setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1); });
  EXPECT_EQ(nowhere.waitForEndAsText(), "exit status 1");
  EXPECT_EQ(nowhere.output().rfind("vexd: cannot listen: ", 0), 0U) << nowhere.output();
}

}  // namespace
}  // namespace vanto::test
