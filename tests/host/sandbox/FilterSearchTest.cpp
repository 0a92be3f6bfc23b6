// SPDX-License-Identifier: Apache-2.0

// The program searches among spans of numbers, and the rules are a list. Here the list itself is asked, and has to say
// the same to everything that a program can tell apart: between two neighbours of the values that it compares with,
// neither can change its answer.
#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <linux/audit.h>

#include "host/sandbox/Compiled.h"
#include "host/sandbox/FilterMachine.h"
#include "sandbox/FilterProgram.h"

namespace vanto::testing {
namespace {

constexpr std::uint32_t x32Bit = 0x40000000;

constexpr std::array machines{Machine::X86_64, Machine::Aarch64};

std::uint32_t wordOf(Machine machine) {
  return machine == Machine::X86_64 ? AUDIT_ARCH_X86_64 : AUDIT_ARCH_AARCH64;
}

std::vector<std::vector<SystemCallRule>> ruleLists() {
  std::vector<std::vector<SystemCallRule>> lists;
  for (const char* profile : {"", "allow network\nallow processes\nallow execute /usr", "allow connect tcp 443",
                              "allow bind tcp 1\nallow execute /bin/a", "allow processes"}) {
    lists.push_back(systemCallRulesOf(compiled(profile)));
  }
  // Every call, with an error of its own.
  auto& all = lists.emplace_back();
  for (std::size_t index = 0; index < systemCallCount; ++index) {
    all.push_back({static_cast<SystemCall>(index), static_cast<std::int32_t>(index) + 1, {}});
  }
  lists.emplace_back();
  return lists;
}

bool holds(const ArgumentTest& test, const seccomp_data& call) {
  const bool isEqual = (static_cast<std::uint32_t>(call.args[test.index]) & test.mask) == test.value;
  return isEqual == (test.relation == ArgumentTest::Relation::Equal);
}

/// What the list says, rule by rule.
std::string answerOfList(const std::vector<SystemCallRule>& rules, Machine machine, const seccomp_data& call) {
  const auto number = static_cast<std::uint32_t>(call.nr);
  const bool isOfOther = machine == Machine::X86_64 && (number & x32Bit) != 0;
  if (call.arch != wordOf(machine) || isOfOther) return "error 1";
  for (const SystemCallRule& rule : rules) {
    if (numberOf(rule.call, machine) != number) continue;
    if (std::ranges::all_of(rule.tests, [&](const ArgumentTest& test) { return holds(test, call); })) {
      return "error " + std::to_string(rule.error);
    }
  }
  return "allow";
}

/// The values at which the program or the list can change its mind about a number or an architecture word.
std::set<std::uint32_t> turningPoints(const std::vector<SystemCallRule>& rules, Machine machine,
                                      const std::vector<sock_filter>& program) {
  std::set<std::uint32_t> values;
  const auto add = [&values](std::uint32_t value) {
    // The bit is looked at on its own, so each value counts with and without it.
    for (const std::uint32_t near : {value - 1, value, value + 1}) {
      for (const std::uint32_t high : {0U, x32Bit, 2 * x32Bit, 3 * x32Bit}) values.insert(near ^ high);
    }
  };
  for (const std::uint32_t value : {0U, wordOf(machine)}) add(value);
  for (const SystemCallRule& rule : rules) {
    if (const auto number = numberOf(rule.call, machine)) add(*number);
  }
  for (const sock_filter& instruction : program) {
    if (BPF_CLASS(instruction.code) == BPF_JMP && BPF_OP(instruction.code) != BPF_JA) add(instruction.k);
  }
  return values;
}

/// Values of one argument: such that each test of it holds and does not.
std::set<std::uint64_t> valuesOf(const std::vector<SystemCallRule>& rules, SystemCall call, std::uint8_t index) {
  std::set<std::uint64_t> values{0, ~std::uint64_t{0}};
  for (const SystemCallRule& rule : rules) {
    if (rule.call != call) continue;
    for (const ArgumentTest& test : rule.tests) {
      if (test.index != index) continue;
      values.insert(test.value);
      values.insert(test.value | (std::uint64_t{1} << 32));
      values.insert(test.value | static_cast<std::uint32_t>(~test.mask));
      for (const std::uint32_t bit : {std::bit_floor(test.mask), test.mask & (~test.mask + 1)}) {
        values.insert(test.value ^ bit);
      }
    }
  }
  return values;
}

/// Sets the arguments of `call` from the one at `index` on to each of their values, in all combinations.
template <typename Check>
void forEachArguments(const std::vector<SystemCallRule>& rules, SystemCall name, seccomp_data& call, std::uint8_t index,
                      const Check& check) {
  // No rule looks at the others.
  constexpr std::uint8_t lookedAt = 4;
  if (index == lookedAt) return check();
  for (const std::uint64_t value : valuesOf(rules, name, index)) {
    call.args[index] = value;
    forEachArguments(rules, name, call, static_cast<std::uint8_t>(index + 1), check);
  }
}

/// For each list of rules on each machine.
template <typename Check>
void forEachProgram(const Check& check) {
  for (const auto& rules : ruleLists()) {
    for (const Machine machine : machines) check(rules, machine, filterProgramOf(rules, machine));
  }
}

TEST(FilterSearch, DecidesAsTheListOfRulesForEachNumber) {
  forEachProgram([](const auto& rules, Machine machine, const auto& program) {
    seccomp_data call{};
    call.arch = wordOf(machine);
    const auto expectSame = [&](std::uint32_t number) {
      call.nr = static_cast<int>(number);
      ASSERT_EQ(answerOf(program, call), answerOfList(rules, machine, call)) << number;
    };
    for (const std::uint32_t number : turningPoints(rules, machine, program)) expectSame(number);
    for (const std::uint32_t high : {0U, x32Bit, 2 * x32Bit, 3 * x32Bit}) {
      for (std::uint32_t number = 0; number < 2048; ++number) expectSame(high | number);
    }
  });
}

TEST(FilterSearch, DecidesAsTheListOfRulesForEachArchitectureWord) {
  forEachProgram([](const auto& rules, Machine machine, const auto& program) {
    std::set<std::uint32_t> words{0, wordOf(machine) - 1, wordOf(machine) + 1, ~0U};
    words.insert({AUDIT_ARCH_I386, AUDIT_ARCH_ARM, AUDIT_ARCH_X86_64, AUDIT_ARCH_AARCH64});
    for (int bit = 0; bit < 32; ++bit) words.insert(wordOf(machine) ^ (std::uint32_t{1} << bit));
    for (const sock_filter& instruction : program) words.insert(instruction.k);
    seccomp_data call{};
    for (const std::uint32_t word : words) {
      call.arch = word;
      for (int number = 0; number < 500; number += 5) {
        call.nr = number;
        ASSERT_EQ(answerOf(program, call), answerOfList(rules, machine, call)) << std::hex << word << " " << number;
      }
    }
  });
}

TEST(FilterSearch, DecidesAsTheListOfRulesForAllArguments) {
  forEachProgram([](const auto& rules, Machine machine, const auto& program) {
    for (std::size_t index = 0; index < systemCallCount; ++index) {
      const auto name = static_cast<SystemCall>(index);
      const auto number = numberOf(name, machine);
      if (!number) continue;
      seccomp_data call{};
      call.arch = wordOf(machine);
      call.nr = static_cast<int>(*number);
      forEachArguments(rules, name, call, 0,
                       [&] { ASSERT_EQ(answerOf(program, call), answerOfList(rules, machine, call)) << nameOf(name); });
    }
  });
}

// The kernel goes through a program once for each of its numbers when it is loaded.
TEST(FilterSearch, FindsEachNumberInAFewSteps) {
  forEachProgram([](const auto& rules, Machine machine, const auto& program) {
    // The spans of each call and between them are halved; four steps look at the machine, and one is the answer.
    const std::size_t most = 5 + static_cast<std::size_t>(std::bit_width(2 * rules.size()));
    seccomp_data call{};
    call.arch = wordOf(machine);
    for (int number = 0; number < 500; ++number) {
      call.nr = number;
      const bool hasTests = std::ranges::any_of(rules, [&](const SystemCallRule& rule) {
        return !rule.tests.empty() && numberOf(rule.call, machine) == static_cast<std::uint32_t>(number);
      });
      EXPECT_TRUE(hasTests || stepsOf(program, call) <= most) << number;
    }
  });
}

}  // namespace
}  // namespace vanto::testing
