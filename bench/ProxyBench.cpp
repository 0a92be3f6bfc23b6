// SPDX-License-Identifier: Apache-2.0
// The time from spawning a program to its first byte: executed directly, through the proxy, and through a stub that is
// linked statically and does nothing but execute it. The three take turns, so that all meet the same state of the
// machine.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Medians.h"

namespace vanto::bench {
namespace {

constexpr std::size_t rounds = 1001;
constexpr double limitMilliseconds = 0.34;
constexpr char program[] = VANTO_BENCH_FIRST_BYTE;

double millisecondsNow() {
  timespec now;
  require(clock_gettime(CLOCK_MONOTONIC, &now) == 0, "no clock");
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// Milliseconds to the first byte of the program, started by way of `stub` or, where that is null, directly.
double timeStart(const char* stub) {
  std::array<int, 2> ends;
  require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  const char* const arguments[] = {stub != nullptr ? stub : program, stub != nullptr ? program : nullptr, nullptr};
  pid_t child;
  const double start = millisecondsNow();
  require(posix_spawn(&child, arguments[0], &actions, nullptr, const_cast<char**>(arguments), environ) == 0,
          "the program cannot be started");
  close(ends[1]);
  char byte;
  require(read(ends[0], &byte, 1) == 1, "no byte came");
  const double time = millisecondsNow() - start;
  close(ends[0]);
  posix_spawn_file_actions_destroy(&actions);
  int status;
  require(waitpid(child, &status, 0) == child && status == 0, "the program failed");
  return time;
}

double median(std::vector<double>& times) {
  std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
  return times[rounds / 2];
}

int run() {
  const std::array<const char*, 3> ways{nullptr, VANTO_BENCH_PROXY, VANTO_BENCH_STUB};
  std::array<std::vector<double>, 3> times;
  for (std::size_t round = 0; round < rounds; round++) {
    for (std::size_t way = 0; way < ways.size(); way++) times[way].push_back(timeStart(ways[way]));
  }
  const double direct = median(times[0]);
  const double more = median(times[1]) - direct;
  const double stub = median(times[2]) - direct;
  std::printf("start of a C++ program to its first byte, medians of %zu interleaved runs\n", rounds);
  std::printf("  directly                       %6.3f ms\n", direct);
  std::printf("  through a bare static stub    +%6.3f ms\n", stub);
  const bool isMet = more <= limitMilliseconds;
  std::printf("  through vantoproxy            +%6.3f ms   <= %.2f   %s\n", more, limitMilliseconds,
              isMet ? "met" : "MISSED");
  return isMet ? 0 : 1;
}

}  // namespace
}  // namespace vanto::bench

int main() {
  return vanto::bench::run();
}
