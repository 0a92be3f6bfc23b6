// SPDX-License-Identifier: Apache-2.0

// manager_soak [--judge-times] [--runs N] [--seconds N] [--seed N]: the service manager under load and disturbance.
// Ends with status 0 when every figure that it prints is right. How late clients are told of a failed start is a matter
// of the machine too, so it is a figure to be right only where that is said.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string_view>

#include "soak/Soak.h"

namespace {

struct Arguments {
  vanto::soak::Length length;
  std::uint64_t seed = std::random_device()();
  vanto::soak::ToldTimes::Lateness lateness = vanto::soak::ToldTimes::Lateness::Shown;
};

bool parse(int count, char** words, Arguments& arguments) {
  for (int index = 1; index < count; index++) {
    const std::string_view name = words[index];
    if (name == "--judge-times") {
      arguments.lateness = vanto::soak::ToldTimes::Lateness::Judged;
      continue;
    }
    if (++index == count) return false;
    char* end = nullptr;
    const unsigned long long number = std::strtoull(words[index], &end, 10);
    if (*end != '\0' || end == words[index]) return false;
    if (name == "--runs") {
      arguments.length.runs = static_cast<int>(number);
    } else if (name == "--seconds") {
      arguments.length.seconds = static_cast<int>(number);
    } else if (name == "--seed") {
      arguments.seed = number;
    } else {
      return false;
    }
  }
  return arguments.length.runs + arguments.length.seconds > 0;
}

}  // namespace

int main(int count, char** words) {
  Arguments arguments;
  if (!parse(count, words, arguments)) {
    std::fprintf(
        stderr,
        "usage: manager_soak [--judge-times] [--runs N] [--seconds N] [--seed N]; --runs or --seconds is needed\n");
    return 2;
  }
  std::printf("seed %llu\n", static_cast<unsigned long long>(arguments.seed));
  vanto::soak::Soak soak({VANTO_SOAK_MANAGER, VANTO_SOAK_PROXY, VANTO_SOAK_SERVICE}, arguments.length, arguments.seed,
                         arguments.lateness);
  return soak.run() ? 0 : 1;
}
