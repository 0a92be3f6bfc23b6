// SPDX-License-Identifier: Apache-2.0

// manager_soak [--runs N] [--seconds N] [--seed N]: the service manager under load and disturbance. Ends with status 0
// when every figure that it prints is right.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string_view>

#include "soak/Soak.h"

namespace {

struct Arguments {
  vanto::soak::Length length;
  std::uint64_t seed = std::random_device()();
};

bool parse(int count, char** words, Arguments& arguments) {
  for (int index = 1; index + 1 < count; index += 2) {
    const std::string_view name = words[index];
    char* end = nullptr;
    const unsigned long long number = std::strtoull(words[index + 1], &end, 10);
    if (*end != '\0' || end == words[index + 1]) return false;
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
  return count % 2 == 1 && arguments.length.runs + arguments.length.seconds > 0;
}

}  // namespace

int main(int count, char** words) {
  Arguments arguments;
  if (!parse(count, words, arguments)) {
    std::fprintf(stderr, "usage: manager_soak [--runs N] [--seconds N] [--seed N]; one of the first two is needed\n");
    return 2;
  }
  std::printf("seed %llu\n", static_cast<unsigned long long>(arguments.seed));
  vanto::soak::Soak soak({VANTO_SOAK_MANAGER, VANTO_SOAK_PROXY, VANTO_SOAK_SERVICE}, arguments.length, arguments.seed);
  return soak.run() ? 0 : 1;
}
