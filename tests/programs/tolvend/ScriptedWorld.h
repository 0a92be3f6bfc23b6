// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>

#include "tolvend/LifeCycle.h"

namespace vanto::manager {

/// Writes down what is asked of it; whether clients wait is set by the test.
class ScriptedWorld final : public LifeCycleWorld {
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
  void setTimer(std::uint64_t deadline) override { timer = deadline; }
  void changed() override { ++changes; }

  /// What was asked since the last call.
  std::string taken() { return std::exchange(notes_, ""); }

  bool isWaiting = false;
  bool isSpawnFailing = false;
  std::uint64_t timer = UINT64_MAX;
  int changes = 0;
  StartFailure told;

 private:
  void note(const std::string& what) { notes_ += (notes_.empty() ? "" : ", ") + what; }
  std::string notes_;
};

}  // namespace vanto::manager
