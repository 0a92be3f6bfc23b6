// SPDX-License-Identifier: Apache-2.0
#include "soak/Disturbance.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <thread>

#include "soak/WaitingClients.h"

namespace vanto::soak {

namespace {

/// Lets the clients go on for a while, of which the longest is given in microseconds.
void goOn(Scene& scene, int longest) {
  std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution(0, longest)(scene.random)));
}

std::string killIdle(Scene& scene) {
  scene.load.pause();
  scene.site.signalProcesses(SIGKILL);
  scene.load.resume();
  return {};
}

std::string killInCall(Scene& scene) {
  scene.load.pause();
  // Of the next request, since nobody else makes one.
  const std::uint64_t number = scene.tally.begun();
  bool wasAnswered = false;
  std::thread caller([&scene, &wasAnswered] { wasAnswered = scene.load.request(Service::Shared, 500); });
  const bool isInCall =
      scene.site.waitUntil([&scene, number] { return scene.site.ledger().timesCarriedOut(number) > 0; });
  scene.site.signalProcesses(SIGKILL);
  caller.join();
  scene.load.resume();
  if (!isInCall) return "a request did not reach the service";
  return wasAnswered ? "a request whose service was killed was answered" : "";
}

/// Each connection has a process, so the end of one is nothing to the other.
std::string killOneOfTwo(Scene& scene) {
  constexpr int milliseconds = 500;
  scene.load.pause();
  const std::uint64_t number = scene.tally.begun();
  std::array<bool, 2> wasAnswered{};
  std::vector<std::thread> callers;
  for (bool& each : wasAnswered) {
    callers.emplace_back([&scene, &each] { each = scene.load.request(Service::Multiple, milliseconds); });
  }
  const Ledger& ledger = scene.site.ledger();
  // Processes of clients who were there before may be about to end.
  const bool areInCall = scene.site.waitUntil([&] {
    return ledger.timesCarriedOut(number) > 0 && ledger.timesCarriedOut(number + 1) > 0 &&
           scene.site.state(Service::Multiple).processes.size() == wasAnswered.size();
  });
  if (const auto processes = scene.site.state(Service::Multiple).processes; !processes.empty()) {
    kill(processes[std::uniform_int_distribution<std::size_t>(0, processes.size() - 1)(scene.random)], SIGKILL);
  }
  for (std::thread& caller : callers) caller.join();
  scene.load.resume();
  if (!areInCall) return "two requests did not reach a process each";
  const auto answered = std::count(wasAnswered.begin(), wasAnswered.end(), true);
  return answered == 1 ? "" : std::to_string(answered) + " of two requests were answered, with one process killed";
}

/// Whichever of the two owners a connection has at that moment, the manager or the process that it is for.
std::string killInstances(Scene& scene) {
  for (int i = 0; i < 10; i++) {
    goOn(scene, 20'000);
    scene.site.signalProcesses(Service::Multiple, i % 3 == 0 ? SIGTERM : SIGKILL);
  }
  return {};
}

std::string killInStart(Scene& scene) {
  scene.site.setMode("sleep 20");
  scene.site.signalProcesses(SIGKILL);
  goOn(scene, 150'000);
  scene.site.signalProcesses(SIGKILL);
  return {};
}

std::string askToEnd(Scene& scene) {
  scene.site.signalProcesses(SIGTERM);
  return {};
}

std::string takeExecutableAway(Scene& scene) {
  scene.site.removeExecutables();
  scene.site.signalProcesses(SIGKILL);
  goOn(scene, 250'000);
  return {};
}

std::string makeExecutableUnusable(Scene& scene) {
  scene.site.makeExecutablesUnusable();
  scene.site.signalProcesses(SIGTERM);
  goOn(scene, 250'000);
  return {};
}

std::string beginWith(Scene& scene, const char* mode) {
  scene.site.setMode(mode);
  scene.site.signalProcesses(SIGTERM);
  goOn(scene, 250'000);
  return {};
}

std::string exitAtOnce(Scene& scene) {
  return beginWith(scene, "exit 0");
}
std::string failAtOnce(Scene& scene) {
  return beginWith(scene, "exit 3");
}
std::string crashAtOnce(Scene& scene) {
  return beginWith(scene, "crash");
}

/// Clients come back about when the service leaves, and none of them may notice.
std::string comeBackWhenIdle(Scene& scene) {
  scene.load.pause();
  const std::uint64_t before = scene.tally.errors();
  const int milliseconds = std::uniform_int_distribution(850, 1250)(scene.random) * Site::idleSeconds;
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  scene.load.resume();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  scene.load.pause();
  const bool wasNoticed = scene.tally.errors() != before;
  scene.load.resume();
  return wasNoticed ? "clients noticed that an idle service left" : "";
}

/// It leaves by itself, with status 0, and not before its time. A process that was asked to end could do so as well,
/// hence a new one, which clients use for a while.
std::string waitUntilItLeaves(Scene& scene) {
  if (std::string error = scene.site.order("restart"); !error.empty()) return error;
  goOn(scene, 50'000);
  scene.load.pause();
  const std::uint64_t exits = scene.site.ledger().exits(Service::Shared);
  const std::int64_t failures = scene.site.state(Service::Shared).failures;
  const auto start = std::chrono::steady_clock::now();
  const bool isThere = scene.load.request(Service::Shared, 0);
  const bool hasLeft = scene.site.waitUntil([&scene, exits] {
    return scene.site.state(Service::Shared).state == "resting" &&
           scene.site.ledger().exits(Service::Shared) == exits + 1;
  });
  const bool wasTooEarly = std::chrono::steady_clock::now() - start < std::chrono::seconds(Site::idleSeconds);
  const Site::State state = scene.site.state(Service::Shared);
  scene.load.resume();
  if (!isThere) return "the service did not answer before it was left alone";
  if (!hasLeft) return "an idle service did not leave by itself; it is " + state.state;
  if (wasTooEarly) return "an idle service left before its time";
  return state.failures != failures ? "an idle service failed when it left" : "";
}

std::string stop(Scene& scene) {
  return scene.site.order("stop");
}
std::string restart(Scene& scene) {
  return scene.site.order("restart");
}

std::string hold(Scene& scene) {
  if (std::string error = scene.site.order("hold"); !error.empty()) return error;
  goOn(scene, 50'000);
  return scene.site.order("start");
}

std::string unloadAndLoad(Scene& scene) {
  if (std::string error = scene.site.order("unload"); !error.empty()) return error;
  goOn(scene, 20'000);
  return scene.site.load();
}

std::string killManager(Scene& scene) {
  return scene.site.replaceManager();
}

/// Notes how long after the failure that it waited for a client was told.
void noteTold(Scene& scene, const char* failure, const WaitingClients::Story& story) {
  // Whoever had begun so long before did wait.
  constexpr std::int64_t certain = 20'000'000;
  if (story.error.empty()) return;
  const std::vector<std::int64_t> times = scene.site.ledger().failuresSince(Service::Shared, story.begin);
  if (times.empty() || times.front() < story.begin + certain || times.front() > story.end) {
    scene.told.addUnclear();
  } else {
    scene.told.add(failure, story.end - times.front());
  }
}

/// Clients wait, beside those of the load, for a service that begins with `mode`, which is not to come as far as to
/// listen; `act` may see to that.
std::string tellThoseWhoWait(Scene& scene, const char* failure, const char* mode, void (*act)(Scene&) = nullptr) {
  constexpr int count = 16;
  scene.site.setMode(Service::Shared, mode);
  if (std::string error = scene.site.order("stop"); !error.empty()) return error;
  WaitingClients clients(count);
  if (act != nullptr) act(scene);
  for (const WaitingClients::Story& story : clients.stories()) noteTold(scene, failure, story);
  return {};
}

std::string tellOfExit0(Scene& scene) {
  return tellThoseWhoWait(scene, "exited with 0, since its end", "sleep 100 exit 0");
}
std::string tellOfExit3(Scene& scene) {
  return tellThoseWhoWait(scene, "exited with 3, since its end", "sleep 100 exit 3");
}
std::string tellOfCrash(Scene& scene) {
  return tellThoseWhoWait(scene, "crashed, since its end", "sleep 100 crash");
}
std::string tellOfKill(Scene& scene) {
  return tellThoseWhoWait(scene, "killed, since then", "sleep 5000", [](Scene& killed) {
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    killed.site.killStarting();
  });
}

/// When an execution fails only the manager knows; so one client comes after the other, and each asks it.
std::string tellOfMissing(Scene& scene) {
  constexpr int count = 8;
  scene.load.pause();
  scene.site.removeExecutables();
  std::string error = scene.site.order("stop");
  for (int i = 0; error.empty() && i < count; i++) {
    const WaitingClients::Story story = WaitingClients(1).stories().front();
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const std::int64_t told = std::chrono::nanoseconds(sinceEpoch).count() - (monotonicTime() - story.end);
    if (story.error.empty()) error = "a service without an executable was started";
    scene.told.add("not executable, since that is known", told - scene.site.state(Service::Shared).failureTime);
  }
  scene.load.resume();
  return error;
}

}  // namespace

const std::vector<Disturbance>& disturbances() {
  static const std::vector<Disturbance> all{
      {"service killed when idle", killIdle, 3},
      {"service killed in mid-call", killInCall, 3},
      {"one of two instances killed in mid-call", killOneOfTwo, 2},
      {"instances killed again and again", killInstances, 3},
      {"service killed while it starts", killInStart, 3},
      {"service asked to end by a signal", askToEnd, 3},
      {"executable missing", takeExecutableAway, 2},
      {"executable may not be executed", makeExecutableUnusable, 2},
      {"service that exits with 0 at once", exitAtOnce, 2},
      {"service that exits with 3 at once", failAtOnce, 2},
      {"service that crashes at once", crashAtOnce, 2},
      {"clients that come when it leaves", comeBackWhenIdle, 1},
      {"service that leaves when idle", waitUntilItLeaves, 1},
      {"clients wait: it exits with 0", tellOfExit0, 1},
      {"clients wait: it exits with 3", tellOfExit3, 1},
      {"clients wait: it crashes", tellOfCrash, 1},
      {"clients wait: it is killed", tellOfKill, 1},
      {"clients wait: it cannot be executed", tellOfMissing, 1},
      {"order: stop", stop, 2},
      {"order: restart", restart, 2},
      {"order: hold, then start", hold, 2},
      {"order: unload, then load", unloadAndLoad, 2},
      {"manager killed and started again", killManager, 2, true},
  };
  return all;
}

}  // namespace vanto::soak
