// SPDX-License-Identifier: Apache-2.0
#include "sandbox/FilterProgram.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>
#include <linux/audit.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/FilterMachine.h"
#include "support/Child.h"
#include "value/Fd.h"

namespace {

using vanto::ArgumentTest;
using vanto::filterProgramOf;
using vanto::Machine;
using vanto::SystemCall;
using vanto::SystemCallRule;
using vanto::testing::answerOf;
using Relation = ArgumentTest::Relation;

seccomp_data call(int number, std::uint32_t machine = AUDIT_ARCH_X86_64) {
  seccomp_data data{};
  data.nr = number;
  data.arch = machine;
  return data;
}

TEST(FilterProgram, LetsEveryCallThroughWithoutRules) {
  const auto program = filterProgramOf({}, Machine::X86_64);
  for (int number = 0; number < 1000; ++number) EXPECT_EQ(answerOf(program, call(number)), "allow");
}

TEST(FilterProgram, RefusesCallsOfOtherMachines) {
  const auto ours = filterProgramOf({}, Machine::X86_64);
  EXPECT_EQ(answerOf(ours, call(1, AUDIT_ARCH_I386)), "error 1");
  EXPECT_EQ(answerOf(ours, call(1, AUDIT_ARCH_AARCH64)), "error 1");
  EXPECT_EQ(answerOf(ours, call(0x40000001)), "error 1");
  const auto others = filterProgramOf({}, Machine::Aarch64);
  EXPECT_EQ(answerOf(others, call(1, AUDIT_ARCH_AARCH64)), "allow");
  EXPECT_EQ(answerOf(others, call(1, AUDIT_ARCH_ARM)), "error 1");
  EXPECT_EQ(answerOf(others, call(1, AUDIT_ARCH_X86_64)), "error 1");
}

// So many that no jump of a comparison leads from one end of the program to the other.
TEST(FilterProgram, LetsOnlyCallsOfAListThrough) {
  std::vector<std::uint32_t> numbers(1000);
  for (std::uint32_t i = 0; i < numbers.size(); ++i) numbers[i] = 2 * (i * 7 % 1000);
  numbers.push_back(0);
  const auto program = vanto::filterProgramOfOnly(numbers, Machine::X86_64);
  for (int number = 0; number < 3000; ++number) {
    const bool isListed = number < 2000 && number % 2 == 0;
    EXPECT_EQ(answerOf(program, call(number)), isListed ? "allow" : "error 1") << number;
  }
  EXPECT_EQ(answerOf(program, call(0, AUDIT_ARCH_I386)), "error 1");
  EXPECT_EQ(answerOf(program, call(0x40000000)), "error 1");
  EXPECT_EQ(answerOf(vanto::filterProgramOfOnly({}, Machine::Aarch64), call(1, AUDIT_ARCH_AARCH64)), "error 1");
  const std::vector<std::uint32_t> last{0xffffffff};
  EXPECT_EQ(answerOf(vanto::filterProgramOfOnly(last, Machine::Aarch64), call(-1, AUDIT_ARCH_AARCH64)), "allow");
  EXPECT_EQ(answerOf(vanto::filterProgramOfOnly(last, Machine::Aarch64), call(-2, AUDIT_ARCH_AARCH64)), "error 1");
}

TEST(FilterProgram, RefusesNoOtherCallThanThoseWithRules) {
  const std::vector<SystemCallRule> rules{{SystemCall::Ptrace, EPERM, {}},
                                          {SystemCall::Clone3, ENOSYS, {}},
                                          {SystemCall::Socket, EPERM, {{0, Relation::Different, ~0U, 1}}}};
  const auto program = filterProgramOf(rules, Machine::X86_64);
  for (int number = 0; number < 1000; ++number) {
    const std::string expected = number == 101 || number == 41 ? "error 1" : number == 435 ? "error 38" : "allow";
    EXPECT_EQ(answerOf(program, call(number)), expected) << number;
  }
}

TEST(FilterProgram, RefusesWhenAllTestsOfARuleHold) {
  const std::vector<SystemCallRule> rules{
      {SystemCall::Socket, EPERM, {{0, Relation::Equal, ~0U, 2}, {1, Relation::Different, 0xf, 1}}},
      {SystemCall::Socket, EACCES, {{2, Relation::Equal, 0xff, 7}}}};
  const auto program = filterProgramOf(rules, Machine::X86_64);
  const auto answer = [&program](std::uint64_t first, std::uint64_t second, std::uint64_t third) {
    seccomp_data data = call(41);
    data.args[0] = first;
    data.args[1] = second;
    data.args[2] = third;
    return answerOf(program, data);
  };
  EXPECT_EQ(answer(2, 2, 0), "error 1");
  EXPECT_EQ(answer(2, 2, 7), "error 1");
  EXPECT_EQ(answer(2, 0x11, 0), "allow");
  EXPECT_EQ(answer(3, 2, 0), "allow");
  EXPECT_EQ(answer(3, 2, 7), "error 13");
  EXPECT_EQ(answer(2, 1, 0x107), "error 13");
}

TEST(FilterProgram, RefusesAlwaysWhenOneOfSeveralRulesDoes) {
  const std::vector<SystemCallRule> rules{{SystemCall::Clone, EPERM, {{0, Relation::Equal, ~0U, 2}}},
                                          {SystemCall::Clone, EPERM, {}}};
  EXPECT_EQ(answerOf(filterProgramOf(rules, Machine::X86_64), call(56)), "error 1");
}

TEST(FilterProgram, RefusesAsTheFirstRuleThatHolds) {
  const std::vector<SystemCallRule> rules{{SystemCall::Clone, EACCES, {{0, Relation::Equal, ~0U, 2}}},
                                          {SystemCall::Clone, ENOSYS, {}},
                                          {SystemCall::Clone, EPERM, {}}};
  const auto program = filterProgramOf(rules, Machine::X86_64);
  seccomp_data data = call(56);
  EXPECT_EQ(answerOf(program, data), "error 38");
  data.args[0] = 2;
  EXPECT_EQ(answerOf(program, data), "error 13");
}

TEST(FilterProgram, LeavesOutCallsThatTheMachineDoesNotHave) {
  const std::vector<SystemCallRule> rules{{SystemCall::Fork, EPERM, {}}};
  EXPECT_EQ(filterProgramOf(rules, Machine::Aarch64).size(), filterProgramOf({}, Machine::Aarch64).size());
  EXPECT_GT(filterProgramOf(rules, Machine::X86_64).size(), filterProgramOf({}, Machine::X86_64).size());
}

int loadHere(std::vector<sock_filter> program) {
  const sock_fprog form{static_cast<unsigned short>(program.size()), program.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return errno;
  return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &form) == 0 ? 0 : errno;
}

std::string outcome(long result) {
  return result >= 0 ? "allowed" : "error " + std::to_string(errno);
}

TEST(FilterProgram, IsTakenAndObeyedByTheKernel) {
  ASSERT_TRUE(vanto::thisMachine().has_value());
  const auto rules = vanto::systemCallRulesOf(vanto::testing::compiled("allow connect tcp 443"));
  const auto program = filterProgramOf(rules, *vanto::thisMachine());
  const auto child = vanto::testing::runInChild([&program](const vanto::testing::ChildReport& report) {
    report("load " + std::to_string(loadHere(program)));
    report("unshare " + outcome(syscall(SYS_unshare, 0)));
    report("clone3 " + outcome(syscall(SYS_clone3, nullptr, 0)));
    report("execve " + outcome(syscall(SYS_execve, "/", nullptr, nullptr)));
    report("clone " + outcome(syscall(SYS_clone, 17, 0, 0, 0, 0)));
    report("personality " + outcome(syscall(SYS_personality, 0xffffffff)));
    report("tcp " + outcome(vanto::Fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)).get()));
    report("udp " + outcome(vanto::Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)).get()));
    report("unix " + outcome(vanto::Fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)).get()));
  });
  EXPECT_EQ(child.end, "exit status 0");
  EXPECT_EQ(child.lines,
            (std::vector<std::string>{"load 0", "unshare error 1", "clone3 error 38", "execve error 1", "clone error 1",
                                      "personality allowed", "tcp allowed", "udp error 1", "unix allowed"}));
}

}  // namespace
