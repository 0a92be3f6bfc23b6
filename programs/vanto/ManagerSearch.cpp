// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerSearch.h"

#include <utility>

#include "vanto/VisibleText.h"

namespace vanto::tool {

ManagerClient* ManagerSearch::manager(ManagerDomain domain, OrderFault& fault) {
  const auto [place, isNew] = attempts_.try_emplace(domain);
  Attempt& attempt = place->second;
  if (isNew) attempt.client = ManagerClient::connect(domain, choice_.timeout, attempt.fault);
  if (!attempt.client) fault = attempt.fault;
  return attempt.client.get();
}

std::vector<ManagerClient*> ManagerSearch::managers(std::vector<std::string>& problems) {
  std::vector<ManagerClient*> found;
  bool hasTrouble = false;
  for (const ManagerDomain domain : managerDomains) {
    if (choice_.domain && *choice_.domain != domain) continue;
    OrderFault fault;
    if (ManagerClient* client = manager(domain, fault)) {
      found.push_back(client);
    } else if (choice_.domain || fault.kind != OrderFault::Kind::NoManager) {
      problems.push_back(fault.text);
      hasTrouble = true;
    }
  }
  if (found.empty() && !hasTrouble) {
    problems.emplace_back(
        "no service manager runs, neither of the session nor of the user nor of the system; start one: tolvend");
  }
  return found;
}

std::optional<JobState> ManagerSearch::stateIn(ManagerClient& manager, const std::string& label, OrderFault& fault) {
  const IpcReference reply = manager.send(Order("status", label), fault);
  if (!reply) return std::nullopt;
  ReplyReader reader(reply.get());
  for (JobState& state : JobState::readAll(reader)) {
    if (reader.isFine() && state.label == label) return std::move(state);
  }
  fault = reader.isFine() ? OrderFault{OrderFault::Kind::Rejected, ""} : manager.malformed(reader.problem());
  return std::nullopt;
}

std::optional<ManagerSearch::Found> ManagerSearch::find(const std::string& label, std::string& problem) {
  std::vector<std::string> problems;
  std::string unknownTo;
  for (ManagerClient* client : managers(problems)) {
    OrderFault fault;
    if (std::optional<JobState> state = stateIn(*client, label, fault)) return Found{client, *std::move(state)};
    if (!fault.text.empty()) problems.push_back(fault.text);
    unknownTo += (unknownTo.empty() ? "" : ", ") + std::string(nameOf(client->domain()));
  }
  problem = visible(label) + ": ";
  for (const std::string& text : problems) problem += (&text == &problems.front() ? "" : "; ") + text;
  if (problems.empty())
    problem += "no job of that label is loaded (" + unknownTo + " domain); load it: vanto load BUNDLE";
  return std::nullopt;
}

}  // namespace vanto::tool
