// SPDX-License-Identifier: Apache-2.0
#include "sandbox/CallList.h"

#include <cerrno>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/sandbox/Compiled.h"
#include "sandbox/Confinement.h"
#include "support/Child.h"
#include "support/MemoryLimit.h"

namespace vanto::testing {
namespace {

/// What reporting and ending need; and sanitizers, which look at memory through pipes and at the stack of signals.
const std::vector<std::uint32_t> fewCalls = {
    SYS_writev,      SYS_exit_group, SYS_getpid,
#ifdef VANTO_TEST_SANITIZED
    SYS_sigaltstack, SYS_pipe2,      SYS_write,  SYS_close, SYS_mmap, SYS_munmap,
#ifdef SYS_pipe
    SYS_pipe,
#endif
#endif
};

/// Ends this process with nothing but the call, as a sanitizer would look for leaks first.
[[noreturn]] void end() {
  for (;;) syscall(SYS_exit_group, 0);
}

TEST(CallList, LeavesTheCallsThatItNamesAndNoOther) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    report(leaveOnlyCalls(fewCalls));
    report(getpid() > 0 ? "id" : "no id");
    errno = 0;
    report(syscall(SYS_getppid) < 0 && errno == EPERM ? "no parent" : "parent");
    end();
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"", "id", "no parent"}));
}

TEST(CallList, HoldsBesideAProfile) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    report(Confinement().enter(compiled("allow read /etc")).error);
    report(leaveOnlyCalls(fewCalls));
    report(syscall(SYS_getppid) < 0 && errno == EPERM ? "no parent" : "parent");
    end();
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"", "", "no parent"}));
}

TEST(CallList, IsRefusedWhenItIsTooLong) {
  const ChildOutcome outcome = runInChild([](const ChildReport& report) {
    std::vector<std::uint32_t> calls(4096);
    for (std::uint32_t index = 0; index < calls.size(); ++index) calls[index] = 2 * index;
    report(leaveOnlyCalls(calls));
    report(getppid() > 0 ? "parent" : "no parent");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (std::vector<std::string>{"the list of calls is too long", "parent"}));
}

}  // namespace
}  // namespace vanto::testing
