// SPDX-License-Identifier: Apache-2.0

// The service manager, with real processes: a service that is started for its first client, beside the least that can
// do that; a conversation with one that runs, in one call, beside the same over bare sockets; and what an idle manager
// costs. All on one core, so that no figure depends on where processes are put.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/vanto.h>

#include "BareConversation.h"
#include "BarePackets.h"
#include "BenchServiceName.h"
#include "Medians.h"
#include "support/RunningManager.h"
#include "support/TemporaryDirectory.h"

namespace vanto::bench {
namespace {

using test::IpcPointer;
using test::RunningManager;

constexpr int coldRounds = 301;
constexpr int warmRounds = 301;
constexpr int conversationsPerRound = 50;
constexpr int idleJobs = 100;
constexpr int idleSeconds = 10;
constexpr std::uint64_t bound = 10'000'000'000;
constexpr double coldLimit = 1.25;
constexpr double warmLimit = 1.3;
constexpr long pssLimitKilobytes = 3072;

/// A child that runs until it is killed.
class Server {
 public:
  explicit Server(pid_t pid) : pid_(pid) {}
  ~Server() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

 private:
  const pid_t pid_;
};

void pauseFor(long milliseconds) {
  const timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000};
  nanosleep(&time, nullptr);
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

bool report(const char* what, double value, double limit, bool isMet) {
  std::printf("  %-50s %8.2f   <= %.2f   %s\n", what, value, limit, isMet ? "met" : "MISSED");
  return isMet;
}

/// One request of the same size as that of the bare client, on a connection of its own.
void callService(const IpcPointer& request) {
  const IpcPointer connection(vanto_connect(benchServiceName, nullptr, bound));
  require(vanto_kind(connection.get()) == VANTO_KIND_CONNECTION, vanto_error_get_text(connection.get()));
  const IpcPointer reply(vanto_call(connection.get(), request.get(), bound));
  require(vanto_kind(reply.get()) == VANTO_KIND_DATA, "no reply came");
}

/// The same in one call.
void callServiceAtOnce(const IpcPointer& request) {
  const IpcPointer reply(vanto_call_service(benchServiceName, request.get(), bound));
  require(vanto_kind(reply.get()) == VANTO_KIND_DATA, vanto_error_get_text(reply.get()));
}

pid_t spawnBareManager(int listener) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, listener, 3);
  const char* const arguments[] = {VANTO_BENCH_BARE_MANAGER, VANTO_BENCH_STUB, VANTO_BENCH_SERVICE, nullptr};
  pid_t child;
  require(posix_spawn(&child, arguments[0], &actions, nullptr, const_cast<char**>(arguments), environ) == 0,
          "the bare manager cannot be started");
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

/// The bench with a manager of its own, in a runtime directory of its own.
class Bench {
 public:
  Bench()
      : manager_({VANTO_BENCH_MANAGER, VANTO_BENCH_PROXY, directory_.path(), {"--idle", "0"}}),
        request_(vanto_data_create(std::array<char, bareBytes>{}.data(), bareBytes)) {
    setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  }

  int run() {
    require(manager_.start(), "the service manager cannot be started");
    order(manager_.load(benchServiceName, VANTO_BENCH_SERVICE));
    bool met = startCold();
    met = converseWarm() && met;
    met = stayIdle() && met;
    require(manager_.terminate(static_cast<int>(bound / 1'000'000)) == 0, "the service manager did not end well");
    return met ? 0 : 1;
  }

 private:
  static void order(const std::string& error) { require(error.empty(), error.c_str()); }

  double timeCold() const {
    order(RunningManager::errorIn(manager_.order("stop", benchServiceName).get()));
    pauseFor(2);
    const double start = nanosecondsNow();
    callService(request_);
    return nanosecondsNow() - start;
  }

  static double timeBareCold(const std::string& path) {
    pauseFor(2);
    const double start = nanosecondsNow();
    converse(path);
    return nanosecondsNow() - start;
  }

  /// From connecting to the reply. The processes of the round before have ended, and two milliseconds more have passed.
  bool startCold() const {
    const std::string path = directory_ / "cold";
    const Fd listener = listenAt(path);
    const Server bare(spawnBareManager(listener.get()));
    std::vector<double> bareTimes;
    std::vector<double> times;
    for (int round = 0; round < coldRounds; round++) {
      bareTimes.push_back(timeBareCold(path));
      times.push_back(timeCold());
    }
    std::printf("a service that has to be started, to its first reply, medians of %d interleaved runs\n", coldRounds);
    std::printf("  vfork, static stub, accept, read, send   %8.3f ms\n", median(bareTimes) / 1e6);
    std::printf("  tolvend, vantoproxy, library             %8.3f ms\n", median(times) / 1e6);
    const double ratio = median(times) / median(bareTimes);
    return report("times the bare sequence", ratio, coldLimit, ratio <= coldLimit);
  }

  template <typename Conversation>
  static double timeRound(const Conversation& conversation) {
    const double start = nanosecondsNow();
    for (int i = 0; i < conversationsPerRound; i++) conversation();
    return (nanosecondsNow() - start) / conversationsPerRound;
  }

  bool converseWarm() const {
    const std::string path = directory_ / "warm";
    const Fd listener = listenAt(path);
    const pid_t child = fork();
    require(child >= 0, "no process");
    if (child == 0) serveConversations(listener.get());
    const Server bare(child);
    callService(request_);
    std::vector<double> bareTimes;
    std::vector<double> stepTimes;
    std::vector<double> times;
    for (int round = 0; round < warmRounds; round++) {
      bareTimes.push_back(timeRound([&path] { converse(path); }));
      times.push_back(timeRound([this] { callServiceAtOnce(request_); }));
      stepTimes.push_back(timeRound([this] { callService(request_); }));
    }
    std::printf("\nconnect, one message, its reply, close, medians of %d interleaved runs\n", warmRounds);
    std::printf("  SEQPACKET, epoll, SO_PASSCRED, SO_PEERCRED %8.2f us\n", median(bareTimes) / 1000);
    std::printf("  vanto_call_service                         %8.2f us\n", median(times) / 1000);
    std::printf("  vanto_connect, vanto_call, vanto_release   %8.2f us\n", median(stepTimes) / 1000);
    const double ratio = median(times) / median(bareTimes);
    std::printf("  %-50s %8.2f   no limit: waits for a greeting first\n", "times the bare conversation, in three calls",
                median(stepTimes) / median(bareTimes));
    return report("times the bare conversation, vanto_call_service", ratio, warmLimit, ratio <= warmLimit);
  }

  /// The sum of the numbers behind those names in a file of the manager's in /proc.
  long readManagerFile(const char* file, const std::vector<std::string>& names) const {
    std::ifstream stream("/proc/" + std::to_string(manager_.pid()) + "/" + file);
    long sum = 0;
    std::size_t found = 0;
    for (std::string line; std::getline(stream, line);) {
      for (const std::string& name : names) {
        if (line.rfind(name + ":", 0) != 0) continue;
        sum += std::atol(line.c_str() + name.size() + 1);
        found++;
      }
    }
    require(found == names.size(), "a file of the manager in /proc is not as expected");
    return sum;
  }

  bool stayIdle() const {
    for (int job = 1; job < idleJobs; job++) {
      order(manager_.load("org.example.bench." + std::to_string(job), VANTO_BENCH_SERVICE));
    }
    order(RunningManager::errorIn(manager_.order("stop", benchServiceName).get()));
    pauseFor(500);
    const std::vector<std::string> switches{"voluntary_ctxt_switches", "nonvoluntary_ctxt_switches"};
    const long before = readManagerFile("status", switches);
    pauseFor(idleSeconds * 1000);
    const long woken = readManagerFile("status", switches) - before;
    const long pss = readManagerFile("smaps_rollup", {"Pss"});
    std::printf("\na manager with %d jobs and nothing to do for %d s\n", idleJobs, idleSeconds);
    const bool met = report("context switches", static_cast<double>(woken), 0, woken == 0);
    return report("KiB of memory (PSS)", static_cast<double>(pss), pssLimitKilobytes, pss < pssLimitKilobytes) && met;
  }

  const test::TemporaryDirectory directory_;
  RunningManager manager_;
  const IpcPointer request_;
};

}  // namespace
}  // namespace vanto::bench

int main() {
  vanto::bench::pinToOneCore();
  std::printf("clients, manager and services all on one core\n\n");
  return vanto::bench::Bench().run();
}
