// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/Ref.h>
#include <VantoService/vanto.h>

#include "ipc/Domain.h"
#include "ipc/IPCObject.h"
#include "tolvend/Jobs.h"
#include "tolvend/PendingOrders.h"
#include "tolvend/Subscriptions.h"

namespace vanto::manager {

/// The name of the service that a manager itself is.
[[nodiscard]] std::string ordersName(Domain domain);

/// The manager as a service: what tools order, and what they are answered; see docs/formats/manager.md. Main thread
/// only.
class Orders {
 public:
  Orders(Alarms& alarms, Jobs& jobs, Domain domain)
      : jobs_(jobs), domain_(domain), pending_(alarms, jobs), subscriptions_(alarms, jobs) {}
  ~Orders();
  Orders(const Orders&) = delete;
  Orders& operator=(const Orders&) = delete;

  /// Listens under the name of the manager's service, for which a socket was handed to this process.
  void listen();

  /// A job has changed, or was removed.
  void jobChanged(const std::string& label);

  /// The reply to one order, or null when it comes later. `connection` and `message` are null for an order whose reply
  /// cannot come later, in tests.
  [[nodiscard]] Ref<vanto_object> carryOut(vanto_object_t order, vanto_object_t connection, vanto_object_t message);

 private:
  /// An order that is being carried out.
  struct Order;
  using Function = Ref<vanto_object> (Orders::*)(const Order&);
  struct Command;
  static const Command commands[];

  static void eventOfListener(vanto_object_t listener, vanto_object_t event, void* context) noexcept;
  static void eventOfConnection(vanto_object_t connection, vanto_object_t event, void* context) noexcept;
  void receive(vanto_object_t connection, vanto_object_t message);

  Ref<vanto_object> load(const Order& order);
  Ref<vanto_object> unload(const Order& order);
  Ref<vanto_object> start(const Order& order);
  Ref<vanto_object> stop(const Order& order);
  Ref<vanto_object> restart(const Order& order);
  Ref<vanto_object> hold(const Order& order);
  Ref<vanto_object> status(const Order& order);
  Ref<vanto_object> watch(const Order& order);
  Ref<vanto_object> logs(const Order& order);
  Ref<vanto_object> why(const Order& order);

  Jobs& jobs_;
  const Domain domain_;
  PendingOrders pending_;
  Subscriptions subscriptions_;
  Ref<vanto_object> listener_;
};

}  // namespace vanto::manager
