// SPDX-License-Identifier: Apache-2.0
#include "vexd/Reply.h"

#include "host/ipc/IPCFixture.h"
#include "programs/vexd/VexdFixture.h"
#include "signing/CodeReply.h"

namespace vanto::testing {
namespace {

using test::Held;
using vexd::Failure;
using vexd::Report;

Report validReport() {
  Report report;
  report.device = 7;
  report.inode = 8;
  report.answer.isValid = true;
  report.answer.digest.assign(32, '\xaa');
  report.answer.identifier = "org.example.a";
  report.answer.fingerprint.assign(64, 'f');
  report.answer.signers = {report.answer.fingerprint, "acme"};
  report.answer.entitlements = "<plist version=\"1.0\"><dict/></plist>";
  return report;
}

CodeReply decoded(const Report& report) {
  return decodeCodeReply(Held(vexd::createReply(report)));
}

TEST(Reply, IsUnderstoodByServices) {
  const CodeReply reply = decoded(validReport());
  ASSERT_EQ(reply.status, 0) << reply.reason;
  EXPECT_TRUE(reply.facts.isValid);
  EXPECT_EQ(reply.facts.identifier, "org.example.a");
  EXPECT_EQ(reply.facts.signerNames, (std::vector<std::string>{std::string(64, 'f'), "acme"}));
  EXPECT_EQ(reply.facts.device, 7);
  EXPECT_EQ(reply.facts.inode, 8);
  EXPECT_TRUE(reply.facts.entitlements);
  EXPECT_EQ(reply.facts.digestHex.substr(0, 4), "aaaa");
}

TEST(Reply, IsTheOneThatIsReady) {
  Report report = validReport();
  report.reply.reset(vexd::createReply(report), vanto_release);
  EXPECT_EQ(static_cast<vanto_object_t>(Held(vexd::createReply(report))), report.reply.get());
}

TEST(Reply, SaysWhyCodeIsNotValid) {
  Report report = validReport();
  report.answer = {};
  report.answer.digest.assign(32, 'd');
  report.answer.reason = "it is not signed";
  const CodeReply reply = decoded(report);
  ASSERT_EQ(reply.status, 0) << reply.reason;
  EXPECT_FALSE(reply.facts.isValid);
  EXPECT_EQ(reply.facts.reason, "it is not signed");
}

TEST(Reply, SaysWhyNothingIsKnown) {
  const CodeReply reply = decoded({{Failure::Traced, "another process traces it"}, {}, 0, 0, {}});
  EXPECT_EQ(reply.status, VexStatusTraced);
  EXPECT_EQ(reply.reason, "another process traces it");
}

TEST(Reply, TakesTheProcessOutOfARequest) {
  const Held request(vanto_dictionary_create(nullptr, nullptr, 0));
  EXPECT_EQ(vexd::copyProcessOf(nullptr), -1);
  EXPECT_EQ(vexd::copyProcessOf(request), -1);
  vanto_dictionary_set_value(request, "process", Held(vanto_string_create("x")));
  EXPECT_EQ(vexd::copyProcessOf(request), -1);
  vanto_dictionary_set_value(request, "process", Held(vanto_fd_create(0)));
  EXPECT_TRUE(Fd(vexd::copyProcessOf(request)));
  vanto_dictionary_set_value(request, "more", Held(vanto_string_create("x")));
  EXPECT_EQ(vexd::copyProcessOf(request), -1);
}

}  // namespace
}  // namespace vanto::testing
