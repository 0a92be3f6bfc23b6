// SPDX-License-Identifier: Apache-2.0
#include "sandbox/SystemCalls.h"

#include <set>
#include <string>

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include "host/sandbox/GenericSystemCalls.h"

namespace {

using vanto::Machine;
using vanto::numberOf;
using vanto::SystemCall;

SystemCall callAt(std::size_t index) {
  return static_cast<SystemCall>(index);
}

long number(SystemCall call, Machine machine) {
  const auto found = numberOf(call, machine);
  return found ? static_cast<long>(*found) : -1;
}

/// Newer than the headers.
bool isKnownToHeaders(SystemCall call) {
  return call != SystemCall::OpenTreeAttr;
}

TEST(SystemCalls, HaveTheNumbersOfTheHeaders) {
  for (std::size_t index = 0; index < vanto::systemCallCount; ++index) {
    const SystemCall call = callAt(index);
    if (!isKnownToHeaders(call)) continue;
#if defined(__x86_64__)
    EXPECT_EQ(number(call, Machine::X86_64), vanto::testing::x86NumberOf(vanto::nameOf(call))) << vanto::nameOf(call);
#endif
    EXPECT_EQ(number(call, Machine::Aarch64), vanto::testing::genericNumberOf(vanto::nameOf(call)))
        << vanto::nameOf(call);
  }
}

TEST(SystemCalls, HaveNamesAndNumbersOfTheirOwn) {
  for (const Machine machine : {Machine::X86_64, Machine::Aarch64}) {
    std::set<long> numbers;
    std::set<std::string_view> names;
    std::size_t known = 0;
    for (std::size_t index = 0; index < vanto::systemCallCount; ++index) {
      names.insert(vanto::nameOf(callAt(index)));
      if (!numberOf(callAt(index), machine)) continue;
      ++known;
      numbers.insert(number(callAt(index), machine));
    }
    EXPECT_EQ(numbers.size(), known);
    EXPECT_EQ(names.size(), vanto::systemCallCount);
  }
}

TEST(SystemCalls, AreThoseOfThisMachine) {
#if defined(__x86_64__) || defined(__aarch64__)
  ASSERT_TRUE(vanto::thisMachine().has_value());
  EXPECT_EQ(number(SystemCall::Socket, *vanto::thisMachine()), SYS_socket);
  EXPECT_EQ(number(SystemCall::Execve, *vanto::thisMachine()), SYS_execve);
#else
  EXPECT_FALSE(vanto::thisMachine().has_value());
#endif
}

}  // namespace
