// SPDX-License-Identifier: Apache-2.0
#include "vanto/LogsCommand.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "vanto/JobLabel.h"
#include "vanto/LogLine.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

ExitStatus fail(Console& console, const std::string& problem) {
  console.complain(problem);
  return ExitStatus::Failed;
}

/// Prints what the manager sends from now on. Ends when it or the job does, when it sends what is no line, or nobody
/// reads any more.
ExitStatus follow(Console& console, const ManagerClient& manager, MessageInbox& inbox) {
  while (console.isOutputFine()) {
    const MessageInbox::Item item = inbox.take();
    if (vanto_kind(item.content.get()) == VANTO_KIND_ERROR) return fail(console, manager.name() + " has ended");
    ReplyReader reader(item.content.get());
    if (vanto_bool_get_value(vanto_dictionary_get_value(item.content.get(), "removed"))) {
      const std::string label = reader.text("label");
      return fail(console, visible(label) + ": was unloaded");
    }
    const LogLine line = LogLine::read(reader);
    if (!reader.isFine()) return fail(console, manager.malformed(reader.problem()).text);
    console.printLine(line.line());
    console.flush();
  }
  return ExitStatus::Failed;
}

}  // namespace

ExitStatus LogsCommand::run(Console& console) const {
  std::string problem;
  ManagerSearch search(choice);
  const std::optional<std::string> name = labelOf(label, problem);
  const auto found = name ? search.find(*name, problem) : std::nullopt;
  if (!found) return fail(console, problem);

  Order order("logs", *name);
  const auto inbox = std::make_shared<MessageInbox>();
  if (isFollowing) {
    order.set("follow", IpcReference(vanto_bool_create(true)).get());
    found->manager->listen(inbox, 0);
  }
  OrderFault fault;
  const IpcReference reply = found->manager->send(order, fault);
  if (!reply) return fail(console, visible(*name) + ": " + fault.text);
  ReplyReader reader(reply.get());
  const std::vector<LogLine> all = LogLine::readAll(reader);
  if (!reader.isFine()) return fail(console, found->manager->malformed(reader.problem()).text);
  const std::size_t count = std::min(all.size(), lines.value_or(all.size()));
  for (std::size_t index = all.size() - count; index < all.size(); ++index) console.printLine(all[index].line());
  console.flush();
  return isFollowing ? follow(console, *found->manager, *inbox) : ExitStatus::Fine;
}

}  // namespace vanto::tool
