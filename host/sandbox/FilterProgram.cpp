// SPDX-License-Identifier: Apache-2.0

// The program is in three parts. First the machine is checked. Then comes one comparison for each call that is always
// refused with EPERM, all of which jump to one return, as most rules are of that sort. Then a block for each other
// call: its rules one after the other, and a return that lets it through where none holds. A block loads arguments over
// the number of the call, so it never falls through to the next.
#include "sandbox/FilterProgram.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <map>

#include <linux/audit.h>
#include <linux/seccomp.h>

namespace vanto {
namespace {

/// Numbers with this bit, and no others, are those of the 32-bit form of x86-64.
constexpr std::uint32_t x32Bit = 0x40000000;

using Program = std::vector<sock_filter>;
using Tests = std::vector<ArgumentTest>;

struct Refusal {
  std::int32_t error;
  Tests tests;
};

sock_filter load(std::size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

sock_filter allowed() {
  return BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
}

sock_filter refused(std::int32_t error) {
  return BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error));
}

/// Goes on where the accumulator is `value`, and else behind the next `skipped` instructions.
sock_filter onlyWhenEqual(std::uint32_t value, std::size_t skipped) {
  return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, static_cast<std::uint8_t>(skipped));
}

sock_filter onlyWhenDifferent(std::uint32_t value, std::size_t skipped) {
  return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, static_cast<std::uint8_t>(skipped), 0);
}

void append(Program& program, const Program& more) {
  program.insert(program.end(), more.begin(), more.end());
}

void addMachine(Program& program, Machine machine) {
  program.push_back(load(offsetof(seccomp_data, arch)));
  program.push_back(onlyWhenDifferent(machine == Machine::X86_64 ? AUDIT_ARCH_X86_64 : AUDIT_ARCH_AARCH64, 1));
  program.push_back(refused(EPERM));
  program.push_back(load(offsetof(seccomp_data, nr)));
  if (machine != Machine::X86_64) return;
  program.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, x32Bit, 0, 1));
  program.push_back(refused(EPERM));
}

/// What a test is made of: the load, the mask where there is one, the comparison.
std::size_t sizeOf(const ArgumentTest& test) noexcept {
  return test.mask == ~std::uint32_t{0} ? 2 : 3;
}

/// Goes on where the test holds, and else behind the next `skipped` instructions.
void addTest(Program& program, const ArgumentTest& test, std::size_t skipped) {
  program.push_back(load(offsetof(seccomp_data, args) + sizeof(std::uint64_t) * test.index));
  if (sizeOf(test) == 3) program.push_back(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, test.mask));
  program.push_back(test.relation == ArgumentTest::Relation::Equal ? onlyWhenEqual(test.value, skipped)
                                                                   : onlyWhenDifferent(test.value, skipped));
}

void addRefusal(Program& program, const Refusal& refusal) {
  std::size_t left = 1;
  for (const ArgumentTest& test : refusal.tests) left += sizeOf(test);
  for (const ArgumentTest& test : refusal.tests) {
    left -= sizeOf(test);
    addTest(program, test, left);
  }
  program.push_back(refused(refusal.error));
}

bool isPlain(const std::vector<Refusal>& refusals) noexcept {
  return std::ranges::any_of(refusals, [](const Refusal& one) { return one.tests.empty() && one.error == EPERM; });
}

using RefusalsByNumber = std::map<std::uint32_t, std::vector<Refusal>>;

void addPlain(Program& program, const RefusalsByNumber& calls) {
  Program comparisons;
  for (const auto& [number, refusals] : calls) {
    if (isPlain(refusals)) comparisons.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 0));
  }
  for (std::size_t index = 0; index < comparisons.size(); ++index) {
    comparisons[index].jt = static_cast<std::uint8_t>(comparisons.size() - index);
  }
  append(program, comparisons);
  program.push_back(BPF_STMT(BPF_JMP | BPF_JA, 1));
  program.push_back(refused(EPERM));
}

void addBlocks(Program& program, const RefusalsByNumber& calls) {
  for (const auto& [number, refusals] : calls) {
    if (isPlain(refusals)) continue;
    Program block;
    for (const Refusal& refusal : refusals) addRefusal(block, refusal);
    block.push_back(allowed());
    program.push_back(onlyWhenEqual(number, block.size()));
    append(program, block);
  }
}

}  // namespace

std::vector<sock_filter> filterProgramOf(std::span<const SystemCallRule> rules, Machine machine) {
  // Jumps reach 255 instructions: there are fewer calls than that, and no block comes near it.
  static_assert(systemCallCount < 255);
  RefusalsByNumber calls;
  for (const SystemCallRule& rule : rules) {
    if (const auto number = numberOf(rule.call, machine)) calls[*number].push_back({rule.error, rule.tests});
  }
  Program program;
  addMachine(program, machine);
  addPlain(program, calls);
  addBlocks(program, calls);
  program.push_back(allowed());
  return program;
}

std::vector<sock_filter> filterProgramOfOnly(std::span<const std::uint32_t> numbers, Machine machine) {
  // As far as jumps reach.
  constexpr std::size_t most = 250;
  if (numbers.size() > most) return {};
  Program program;
  addMachine(program, machine);
  std::size_t left = numbers.size();
  for (const std::uint32_t number : numbers) {
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, static_cast<std::uint8_t>(left--), 0));
  }
  program.push_back(refused(EPERM));
  program.push_back(allowed());
  return program;
}

}  // namespace vanto
