// SPDX-License-Identifier: Apache-2.0
#include "signing/CodeService.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/signing/CodeServiceStub.h"

namespace vanto::test {
namespace {

class CodeService : public CodeServiceStub {
 protected:
  const Fd self_ = Fd(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
};

TEST_F(CodeService, GivesTheFactsOfAProcess) {
  const CodeReply reply = askCodeService(self_);
  EXPECT_EQ(reply.status, 0);
  EXPECT_EQ(reply.facts.identifier, "org.vanto.client");
  EXPECT_EQ(executableOf(reply.facts), (ExecutableFile{7, 8}));
  EXPECT_EQ(lookUpExecutable(self_), (ExecutableFile{7, 8}));
}

TEST_F(CodeService, MakesANewConnectionWhenTheOneThatItKeptHasEnded) {
  EXPECT_EQ(askCodeService(self_).status, 0);
  for (int i = 0; i < 3; ++i) {
    stop();
    restart();
    const CodeReply reply = askCodeService(self_);
    EXPECT_EQ(reply.status, 0) << reply.reason;
  }
}

TEST_F(CodeService, SaysThatThereIsNone) {
  stop();
  const CodeReply reply = askCodeService(self_);
  EXPECT_EQ(reply.status, VexStatusUnavailable);
  EXPECT_NE(reply.reason, "");
  EXPECT_FALSE(lookUpExecutable(self_));
}

TEST_F(CodeService, WaitsNoLongerThanItIsTold) {
  answerNobody();
  EXPECT_EQ(askCodeService(self_, 50'000'000).status, VexStatusTimedOut);
}

TEST_F(CodeService, NamesNoProcessByAClosedDescriptor) {
  EXPECT_EQ(askCodeService(Fd()).status, VexStatusGone);
  EXPECT_EQ(requests(), 0);
}

TEST_F(CodeService, PassesFailuresOn) {
  answer(failureReply(VexStatusBusy));
  const CodeReply reply = askCodeService(self_);
  EXPECT_EQ(reply.status, VexStatusBusy);
  EXPECT_EQ(reply.reason, "a reason");
}

}  // namespace
}  // namespace vanto::test
