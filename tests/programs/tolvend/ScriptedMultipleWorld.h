// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tolvend/MultipleLifeCycle.h"

#include "NotingWorld.h"

namespace vanto::manager {

/// Writes down what is asked of it, and knows by itself who waits, which connections it holds and which processes are
/// there. What must never be is a failure at once.
class ScriptedMultipleWorld final : public NotingWorld<MultipleLifeCycleWorld> {
 public:
  void watchListener(bool shallWatch) override {
    EXPECT_NE(shallWatch, isWatching);
    isWatching = shallWatch;
    note(shallWatch ? "watch" : "unwatch");
  }
  bool accept(InstanceId instance, uid_t& user) override {
    if (waiting.empty()) return false;
    user = waiting.front();
    waiting.pop_front();
    EXPECT_TRUE(connections.emplace(instance, user).second);
    return true;
  }
  bool spawn(InstanceId instance, StartFailure& failure) override {
    EXPECT_TRUE(connections.contains(instance));
    EXPECT_FALSE(isClosed) << "a start while held or retired";
    note("spawn " + std::to_string(instance));
    if (isSpawnFailing) {
      failure.stage = StartFailure::Stage::Resources;
      failure.error = EAGAIN;
      return false;
    }
    processes[instance] = connections[instance];
    return true;
  }
  bool hasClientLeft(InstanceId instance) override {
    EXPECT_TRUE(connections.contains(instance));
    return gone.contains(instance);
  }
  void refuse(InstanceId instance, const StartFailure& failure) override {
    EXPECT_EQ(connections.erase(instance), 1U);
    note("refuse " + std::to_string(instance) + " " + stageName(failure.stage));
    told = failure;
  }
  void forget(InstanceId instance) override {
    EXPECT_EQ(connections.erase(instance), 1U);
    note("forget " + std::to_string(instance));
  }
  void tellWaiting(const StartFailure& failure) override {
    note(std::string("tell ") + stageName(failure.stage));
    waiting.clear();
    told = failure;
  }
  void signal(InstanceId instance, JobWorld::Signal signal) override {
    EXPECT_TRUE(processes.contains(instance));
    const bool isKill = signal == JobWorld::Signal::Kill;
    if (isKill) killed.push_back(instance);
    note((isKill ? "kill " : "terminate ") + std::to_string(instance));
  }

  std::deque<uid_t> waiting;
  std::map<InstanceId, uid_t> connections;
  /// Instances whose clients have left.
  std::set<InstanceId> gone;
  std::map<InstanceId, uid_t> processes;
  std::vector<InstanceId> killed;
  bool isWatching = false;
  bool isSpawnFailing = false;
  bool isClosed = false;
};

}  // namespace vanto::manager
