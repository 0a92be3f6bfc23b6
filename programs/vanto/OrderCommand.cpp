// SPDX-License-Identifier: Apache-2.0
#include "vanto/OrderCommand.h"

#include <optional>

#include "vanto/JobLabel.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// Sends the order about one job. What is said of it, visible; none with `problem`.
std::optional<std::string> carryOut(const OrderCommand& command, ManagerSearch& search, const std::string& argument,
                                    std::string& problem) {
  const std::optional<std::string> label = labelOf(argument, problem);
  const auto found = label ? search.find(*label, problem) : std::nullopt;
  if (!found) return std::nullopt;
  const std::string name = visible(*label);
  OrderFault fault;
  const IpcReference reply = found->manager->send(Order(command.order, *label), fault);
  if (!reply) {
    problem = name + ": " + fault.text;
    return std::nullopt;
  }
  ReplyReader reader(reply.get());
  static_cast<void>(reader.text("label"));
  const std::optional<std::int64_t> pid = reader.integerIfAny("pid");
  if (reader.isFine()) return name + ": " + command.outcome + (pid ? ", process " + std::to_string(*pid) : "");
  problem = name + ": " + found->manager->malformed(reader.problem()).text;
  return std::nullopt;
}

}  // namespace

ExitStatus OrderCommand::run(Console& console) const {
  ManagerSearch search(choice);
  ExitStatus status = ExitStatus::Fine;
  for (const std::string& argument : labels) {
    std::string problem;
    if (const std::optional<std::string> line = carryOut(*this, search, argument, problem)) {
      console.printLine(*line);
      // The next order can take its time.
      console.flush();
    } else {
      console.complain(problem);
      status = ExitStatus::Failed;
    }
  }
  return status;
}

}  // namespace vanto::tool
