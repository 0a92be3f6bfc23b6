// SPDX-License-Identifier: Apache-2.0
// The time from executing a service to the moment at which it tells its manager that it listens: unconfined, and
// confined by the base profile and a directory of its own. The two take turns, so that both meet the same state of the
// machine.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Medians.h"
#include "support/BundleBuilder.h"
#include "support/TemporaryDirectory.h"

namespace vanto::bench {
namespace {

constexpr std::size_t rounds = 501;
constexpr double limit = 1.4;
constexpr const char* name = "org.vanto.bench.sandbox";
constexpr std::uint32_t listening = 16;
constexpr std::uint32_t receipt = 20;

double millisecondsNow() {
  timespec now;
  require(clock_gettime(CLOCK_MONOTONIC, &now) == 0, "no clock");
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

std::string buildService(const test::TemporaryDirectory& directory, const char* bundleName, bool isConfined) {
  test::BundleBuilder bundle(directory.path(), bundleName);
  bundle.executableCopiedFrom(VANTO_BENCH_SERVICE, "service").identifier(name).service();
  if (isConfined) {
    bundle.serviceEntry("_SandboxProfile", test::BundleBuilder::string("tight"))
        .resource("tight.sb",
                  "version 1\ninclude base\nallow read ${VantoService_path}\nallow read,write,create,remove,rename " +
                      directory.path() + "\nnetwork none\n");
  }
  bundle.build();
  return bundle.executablePath("service");
}

int createListener(const std::string& path) {
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  require(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && listen(listener, 8) == 0,
          "no listener");
  return listener;
}

[[noreturn]] void becomeService(const std::string& program, int listener, int link) {
  dup2(fcntl(listener, F_DUPFD, 100), 3);
  dup2(fcntl(link, F_DUPFD, 100), 4);
  setenv("LISTEN_FDS", "2", 1);
  setenv("LISTEN_FDNAMES", (std::string(name) + ":.manager").c_str(), 1);
  setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  execl(program.c_str(), program.c_str(), nullptr);
  _exit(127);
}

/// Reads what the service says until it listens. Whether it has sent a receipt that tells of confinement.
bool awaitListening(int link) {
  bool isConfined = false;
  for (;;) {
    std::array<char, 4096> record{};
    const ssize_t size = recv(link, record.data(), record.size(), 0);
    require(size >= 16, "the service has ended");
    std::uint32_t kind;
    std::copy_n(record.data(), sizeof kind, reinterpret_cast<char*>(&kind));
    if (kind == receipt) {
      isConfined = std::string(record.data() + 16, static_cast<std::size_t>(size) - 16).find("witness denied") !=
                   std::string::npos;
    }
    if (kind == listening) return isConfined;
  }
}

double timeStart(const std::string& program, int listener, bool isConfined) {
  std::array<int, 2> ends;
  require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0, "no link");
  const double start = millisecondsNow();
  const pid_t child = fork();
  if (child == 0) becomeService(program, listener, ends[1]);
  close(ends[1]);
  const bool wasConfined = awaitListening(ends[0]);
  const double time = millisecondsNow() - start;
  require(wasConfined == isConfined, "the service is not confined as it should be");
  kill(child, SIGKILL);
  close(ends[0]);
  require(waitpid(child, nullptr, 0) == child, "no service");
  return time;
}

struct Spread {
  double lowerTenth;
  double median;
  double upperTenth;
};

Spread spreadOf(std::vector<double> times) {
  std::ranges::sort(times);
  return {times[rounds / 10], times[rounds / 2], times[rounds - 1 - rounds / 10]};
}

void print(const char* what, const Spread& spread) {
  std::printf("  %-12s %6.3f ms   %6.3f to %6.3f", what, spread.median, spread.lowerTenth, spread.upperTenth);
}

int run() {
  const test::TemporaryDirectory directory;
  const int listener = createListener(directory / "socket");
  const std::array<std::string, 2> programs{buildService(directory, "Open.vanto", false),
                                            buildService(directory, "Confined.vanto", true)};
  std::array<std::vector<double>, 2> times;
  for (std::size_t round = 0; round < rounds; round++) {
    for (std::size_t way = 0; way < 2; way++) times[way].push_back(timeStart(programs[way], listener, way == 1));
  }
  const Spread open = spreadOf(times[0]);
  const Spread confined = spreadOf(times[1]);
  const double ratio = confined.median / open.median;
  const bool isMet = ratio <= limit;
  std::printf(
      "start of a service until it listens, %zu interleaved runs: median, and where all but the fastest and the\n"
      "slowest tenth lie\n",
      rounds);
  print("unconfined", open);
  std::printf("\n");
  print("confined", confined);
  std::printf("   %4.2f times   <= %.2f   %s\n", ratio, limit, isMet ? "met" : "MISSED");
  return isMet ? 0 : 1;
}

}  // namespace
}  // namespace vanto::bench

int main() {
  return vanto::bench::run();
}
