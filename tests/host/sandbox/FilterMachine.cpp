// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/FilterMachine.h"

#include <cstdint>
#include <cstring>

namespace vanto::testing {
namespace {

std::string answer(std::uint32_t value) {
  if (value == SECCOMP_RET_ALLOW) return "allow";
  if ((value & SECCOMP_RET_ACTION_FULL) == SECCOMP_RET_ERRNO) {
    return "error " + std::to_string(value & SECCOMP_RET_DATA);
  }
  return "action " + std::to_string(value);
}

struct Run {
  std::string answer;
  std::size_t steps;
};

Run runOf(std::span<const sock_filter> program, const seccomp_data& call) {
  std::uint32_t accumulator = 0;
  std::size_t steps = 0;
  for (std::size_t at = 0; at < program.size(); ++at) {
    const sock_filter& instruction = program[at];
    ++steps;
    switch (instruction.code) {
      case BPF_LD | BPF_W | BPF_ABS:
        if (instruction.k % 4 != 0 || instruction.k + 4 > sizeof call) return {"loads what is not there", steps};
        std::memcpy(&accumulator, reinterpret_cast<const char*>(&call) + instruction.k, sizeof accumulator);
        break;
      case BPF_ALU | BPF_AND | BPF_K:
        accumulator &= instruction.k;
        break;
      case BPF_JMP | BPF_JA:
        at += instruction.k;
        break;
      case BPF_JMP | BPF_JEQ | BPF_K:
        at += accumulator == instruction.k ? instruction.jt : instruction.jf;
        break;
      case BPF_JMP | BPF_JGE | BPF_K:
        at += accumulator >= instruction.k ? instruction.jt : instruction.jf;
        break;
      case BPF_JMP | BPF_JSET | BPF_K:
        at += (accumulator & instruction.k) != 0 ? instruction.jt : instruction.jf;
        break;
      case BPF_RET | BPF_K:
        return {answer(instruction.k), steps};
      default:
        return {"instruction " + std::to_string(instruction.code), steps};
    }
  }
  return {"runs out of the program", steps};
}

}  // namespace

std::string answerOf(std::span<const sock_filter> program, const seccomp_data& call) {
  return runOf(program, call).answer;
}

std::size_t stepsOf(std::span<const sock_filter> program, const seccomp_data& call) {
  return runOf(program, call).steps;
}

}  // namespace vanto::testing
