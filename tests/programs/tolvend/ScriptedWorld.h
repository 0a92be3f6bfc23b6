// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <string>

#include "tolvend/LifeCycle.h"

#include "NotingWorld.h"

namespace vanto::manager {

/// Writes down what is asked of it; whether clients wait is set by the test.
class ScriptedWorld final : public NotingWorld<LifeCycleWorld> {
 public:
  void watchListener(bool shallWatch) override { note(shallWatch ? "watch" : "unwatch"); }
  bool isAnybodyWaiting() override { return isWaiting; }
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
  bool isSpawnFailing = false;
};

}  // namespace vanto::manager
