// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"
#include "vanto/ManagerClient.h"
#include "vanto/StatusBoard.h"

namespace vanto::tool {

/// `vanto status --watch`: shows what managers tell of their jobs until the last of them ends.
class StatusWatch {
 public:
  enum class Form : std::uint8_t { Table, Json };

  /// Of the jobs with one of `labels`, or of all where there are none.
  StatusWatch(Console& console, Form form, std::vector<ManagerClient*> managers, std::set<std::string> labels);

  [[nodiscard]] ExitStatus run();

 private:
  [[nodiscard]] bool begin(std::size_t index);
  void take(const MessageInbox::Item& item);
  void takeChange(std::size_t sender, vanto_object_t change);
  void set(ManagerDomain domain, const JobState& job);
  void show(ManagerDomain domain, const std::string& label, vanto_object_t change);
  void end(std::size_t sender, const std::string& problem);
  [[nodiscard]] bool isAskedFor(const std::string& label) const;

  Console& console_;
  Form form_;
  std::vector<ManagerClient*> managers_;
  std::set<std::string> labels_;
  StatusBoard board_;
  std::shared_ptr<MessageInbox> inbox_ = std::make_shared<MessageInbox>();
  /// Managers that still tell, by their places in managers_.
  std::set<std::size_t> running_;
  /// Labels asked for that no manager has told of.
  std::set<std::string> missing_;
};

}  // namespace vanto::tool
