// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tolvend/LifeCycle.h"

namespace vanto::manager {

/// A world in which anything may happen, with a clock of its own: processes that start late, fail in every stage,
/// serve, go idle, crash, do not end when asked, and clients that come at any time and connect again when they lose
/// their connection before the greeting. It judges what the life cycle does by what it has told it itself. What happens
/// is determined by the seed.
class LifeCycleModel final : LifeCycleWorld {
 public:
  explicit LifeCycleModel(std::uint64_t seed);

  /// One walk. What was wrong first, or nothing.
  [[nodiscard]] std::string walk();

  /// What the walks together have seen, so that a test can say that they saw what they should.
  struct Seen {
    std::uint64_t served = 0;
    std::uint64_t told = 0;
    std::uint64_t lost = 0;
    std::uint64_t spawns = 0;
    std::uint64_t kills = 0;
    std::uint64_t leaves = 0;
    /// Processes that failed since they said that they were idle and accepted nobody, after more than a second.
    std::uint64_t feigned = 0;
    /// Looks at a process that nobody had heard of, which accepted somebody, and had others waiting.
    std::uint64_t besieged = 0;
    std::uint64_t longestWait = 0;
    std::map<StartFailure::Stage, std::uint64_t> stages;
  };
  [[nodiscard]] const Seen& seen() const noexcept { return seen_; }

 private:
  struct Client {
    std::uint64_t since = 0;
    /// Orders and ends of processes while it waited; each may make it wait longer.
    std::uint64_t disturbances = 0;
  };

  /// What a process does, as far as it was fixed when it was made.
  struct Process {
    std::uint64_t madeAt = 0;
    std::uint64_t lastReport = 0;
    /// When it is looked at next whether it accepts; UINT64_MAX once that was done.
    std::uint64_t lookAt = 0;
    /// By when it must have accepted somebody.
    std::uint64_t acceptBy = 0;
    /// When it last accepted anybody, or was made, or was executed as far as is known.
    std::uint64_t lastProgress = 0;
    std::uint64_t connections = 0;
    std::uint64_t activity = 0;
    bool isForeign = false;
    bool isDeaf = false;
    /// Serves one after the other, slowly, and each who is accepted is followed by another.
    bool isBesieged = false;
    /// Says what a service says, and accepts nobody.
    bool isFeigning = false;
    bool ignoresTermination = false;
    bool lingers = false;
    bool crashesAtGreeting = false;
    bool isAlive = true;
    bool isExecuted = false;
    bool hasFailedExecution = false;
    bool isAccepting = false;
    bool isAcceptPlanned = false;
    bool hasStopped = false;
    bool hasGreeted = false;
    bool isAsked = false;
    bool isKilled = false;
    std::vector<Client> unserved;
    // What the life cycle was told.
    bool toldListening = false;
    bool toldExecuted = false;
    bool toldStopped = false;
    bool seemedToAccept = false;
    bool hasAccepted = false;
    bool toldGreeted = false;
    bool toldFailed = false;
    bool toldIdle = false;
    /// Since when it should be ending; 0 for not.
    std::uint64_t endingSince = 0;
    bool toldGone = false;
    bool toldEnded = false;
  };

  // The world of the life cycle.
  void watchListener(bool shallWatch) override;
  bool isAnybodyWaiting() override { return !waiting_.empty(); }
  WaitingChange lookAtWaiting() override;
  bool spawn(InstanceId instance, StartFailure& failure) override;
  void tellWaiting(const StartFailure& failure) override;
  void signal(InstanceId instance, Signal signal) override;
  void letLeave(InstanceId instance) override;
  void setTimer(std::uint64_t deadline) override;
  void changed() override {}

  // Chance.
  [[nodiscard]] std::uint64_t upTo(std::uint64_t most);
  [[nodiscard]] bool chance(unsigned percent) { return upTo(99) < percent; }
  /// From microseconds to a minute, each magnitude alike.
  [[nodiscard]] std::uint64_t anyTime();

  // What happens.
  void begin();
  void plan(std::uint64_t after, std::function<void()> event);
  void report(InstanceId instance, std::function<void()> call);
  void runUntil(std::uint64_t time);
  void act();
  void arrive(Client client);
  void planNotice();
  void notice();
  void planLife(InstanceId instance);
  void execute(InstanceId instance);
  void beginAccepting(InstanceId instance);
  void feign(InstanceId instance);
  void sayIdle(InstanceId instance);
  void planAccept(InstanceId instance);
  void accept(InstanceId instance);
  void greet(InstanceId instance);
  void endConnection(InstanceId instance);
  void stopAccepting(InstanceId instance);
  void end(InstanceId instance, Ending ending);
  void order(const std::function<void()>& order);
  void orderToStart(void (LifeCycle::*what)(std::uint64_t));
  void orderToEnd(const std::function<void()>& what);
  void lookAtProcesses();
  [[nodiscard]] WaitingChange changeOfWaiting() const;
  void beginToLook(Process& process);
  [[nodiscard]] bool look(Process& process);
  void tellEnd(InstanceId instance, Ending ending);

  // What is judged.
  void wrong(const std::string& what);
  void check();
  void checkComeAndGone(const Process& process, bool isFailure);
  void checkFailures();
  void checkWaiting();
  void checkTimer();
  /// Expects a failure, or none, of what is done in `call`.
  void expectFailure(bool isExpected, const char* what, const std::function<void()>& call);
  [[nodiscard]] bool shallBeWatched();
  [[nodiscard]] Process* current();
  [[nodiscard]] std::size_t unfinished() const;
  /// Whether its end with status 0, or that it stops accepting, leaves those unserved who wait.
  [[nodiscard]] bool isUnseen(const Process& process) const;

  std::mt19937_64 random_;
  std::uint64_t now_ = 1'000'000'000;
  std::multimap<std::uint64_t, std::function<void()>> events_;
  std::map<InstanceId, Process> processes_;
  std::vector<Client> waiting_;
  /// Whether anybody waited when the life cycle looked last, and whether anybody was accepted since.
  bool wasAnybodyWaiting_ = false;
  bool isAnybodyAccepted_ = false;
  /// Nobody comes any more.
  bool isOver_ = false;
  LifeCycle lifeCycle_;
  InstanceId current_ = 0;
  std::uint64_t timer_ = UINT64_MAX;
  std::uint64_t reportsUnderWay_ = 0;
  std::uint64_t failuresJudged_ = 0;
  std::uint64_t failedSpawns_ = 0;
  /// The longest pause after the next failed run.
  std::uint64_t nominal_ = BackOff::first;
  bool isWatching_ = false;
  bool isNoticePlanned_ = false;
  bool isPatient_ = false;
  bool isStartWanted_ = false;
  /// Until then clients are told of the last failure.
  std::uint64_t retellUntil_ = 0;
  bool hasBegun_ = false;
  bool isHeld_ = false;
  bool isRetired_ = false;
  std::string problem_;
  Seen seen_;
};

}  // namespace vanto::manager
