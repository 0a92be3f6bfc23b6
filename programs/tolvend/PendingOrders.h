// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include <VantoService/Ref.h>
#include <VantoService/vanto.h>

#include "ipc/IPCObject.h"
#include "tolvend/Alarms.h"
#include "tolvend/Jobs.h"

namespace vanto::manager {

/// Orders whose reply waits for something to happen to a job. Main thread only.
class PendingOrders {
 public:
  PendingOrders(Alarms& alarms, Jobs& jobs) : jobs_(jobs), alarm_(alarms, [this] { look(); }) {}

  enum class Goal : std::uint8_t {
    Ended,      ///< the processes that are there now have ended
    Started,    ///< a process accepts clients
    Restarted,  ///< one that is not there now does, and those that are have ended
    Unloaded,   ///< no process of the job that was removed is left
  };

  /// Replies to `message` once `goal` is reached, or cannot be any more. What is there now is taken from the job
  /// before the order is carried out: call this first.
  void add(vanto_object_t message, const std::string& label, Goal goal);

  /// The order was not carried out after all, and is answered otherwise.
  void drop(vanto_object_t message) {
    orders_.remove_if([=](const Order& order) { return order.message.get() == message; });
  }

  /// To be called when something has changed.
  void look();

 private:
  struct Order {
    Ref<vanto_object> message;
    std::string label;
    Goal goal;
    /// Those that were there and are not what is started. Unless all is about a start, their end is waited for.
    std::vector<InstanceId> old;
    /// When the order was given.
    std::uint64_t time = 0;
    /// Failures of the job when the order was given.
    std::uint64_t failures = 0;
    std::uint64_t deadline = 0;
    /// When the instance that is being started was first seen to be executed, and which it was.
    std::uint64_t executed = 0;
    InstanceId instance = 0;
  };
  enum class State : std::uint8_t { Waiting, Done };

  [[nodiscard]] State settle(Order& order, std::uint64_t now);
  [[nodiscard]] State settleStart(Order& order, const JobController& job, std::uint64_t now);
  [[nodiscard]] static State settleEnd(const Order& order, const JobController& job);
  static State succeed(const Order& order, pid_t pid);
  static State fail(const Order& order, const std::string& error);

  Jobs& jobs_;
  std::list<Order> orders_;
  Alarm alarm_;
};

}  // namespace vanto::manager
