// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "vanto/IpcReference.h"
#include "vanto/ManagerDomain.h"
#include "vanto/MessageInbox.h"
#include "vanto/Order.h"

namespace vanto::tool {

/// Why an order was not carried out, or is not known to be.
struct OrderFault {
  enum class Kind : std::uint8_t {
    NoManager,  ///< none of that domain runs
    Rejected,   ///< the manager has said why
    Failed      ///< the manager refused to talk, took too long, ended, or said what makes no sense
  };
  Kind kind = Kind::Failed;
  /// What happened and what to do, visible.
  std::string text;
};

/// A connection to the service manager of one domain. Used by one thread.
class ManagerClient {
 public:
  /// The largest bound.
  static constexpr std::uint64_t longestTimeout = 365ULL * 24 * 3600 * 1'000'000'000;

  /// Connects to the manager, and gives it and each order up to `timeout` nanoseconds. Null with `fault`.
  [[nodiscard]] static std::unique_ptr<ManagerClient> connect(ManagerDomain domain, std::uint64_t timeout,
                                                              OrderFault& fault);
  ~ManagerClient();
  ManagerClient(const ManagerClient&) = delete;
  ManagerClient& operator=(const ManagerClient&) = delete;

  [[nodiscard]] ManagerDomain domain() const noexcept { return domain_; }

  /// Has all that the manager says without being asked put into `inbox`, as from `sender`, and at last the error with
  /// which the connection ends. Before the order that has the manager say something, and once.
  void listen(const std::shared_ptr<MessageInbox>& inbox, std::size_t sender);

  /// Sends an order. The answer, a dictionary; null with `fault`.
  [[nodiscard]] IpcReference send(const Order& order, OrderFault& fault);

  /// The fault of an answer that has the form of none. `problem` is a reader's.
  [[nodiscard]] OrderFault malformed(const std::string& problem) const;
  /// "the service manager of the user domain"
  [[nodiscard]] std::string name() const;

 private:
  ManagerClient(ManagerDomain domain, std::uint64_t timeout, IpcReference connection) noexcept;

  ManagerDomain domain_;
  std::uint64_t timeout_;
  IpcReference connection_;
  /// Where the connection's events go; null until somebody listens.
  std::shared_ptr<MessageInbox> inbox_;
};

}  // namespace vanto::tool
