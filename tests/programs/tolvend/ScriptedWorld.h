// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <string>
#include <utility>

#include "tolvend/LifeCycle.h"

#include "NotingWorld.h"

namespace vanto::manager {

/// Writes down what is asked of it; whether clients wait is set by the test.
class ScriptedWorld final : public NotingWorld<LifeCycleWorld> {
 public:
  void watchListener(bool shallWatch) override { note(shallWatch ? "watch" : "unwatch"); }
  bool isAnybodyWaiting() override { return isWaiting; }
  WaitingChange lookAtWaiting() override {
    const bool wasWaiting = std::exchange(wasWaiting_, isWaiting);
    const bool isAccepted = std::exchange(hasAccepted, false) || !isWaiting;
    if (!wasWaiting) return isWaiting ? WaitingChange::Come : WaitingChange::Nobody;
    return isAccepted ? WaitingChange::Accepted : WaitingChange::Same;
  }
  bool spawn(InstanceId instance, StartFailure& failure) override {
    note("spawn " + std::to_string(instance));
    if (!isSpawnFailing) return true;
    failure.stage = StartFailure::Stage::Proxy;
    failure.error = ENOENT;
    return false;
  }
  void tellWaiting(const StartFailure& failure) override {
    note(std::string("tell ") + stageName(failure.stage));
    isWaiting = false;
    told = failure;
  }
  void signal(InstanceId instance, Signal signal) override {
    note((signal == Signal::Kill ? "kill " : "terminate ") + std::to_string(instance));
  }
  void letLeave(InstanceId instance) override { note("leave " + std::to_string(instance)); }

  bool isWaiting = false;
  /// Somebody was accepted since the last look, though somebody waits.
  bool hasAccepted = false;
  bool isSpawnFailing = false;

 private:
  bool wasWaiting_ = false;
};

}  // namespace vanto::manager
