// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PolicyText.h"

#include "sandbox/ProfileWord.h"

namespace vanto {
namespace {

/// What Write brings with it needs no word.
std::string wordsOf(RightSet rights) {
  return namesOf(rights.contains(Right::Write) ? rights.without(Right::Truncate) : rights, ",");
}

void addPorts(const Policy& policy, Right right, std::string& text) {
  for (const PortRule& rule : policy.ports) {
    if (!rule.rights.contains(right)) continue;
    text.append("allow ").append(nameOf(right)).append(" tcp ").append(std::to_string(rule.port)).append("\n");
  }
}

}  // namespace

std::string textOf(const Policy& policy) {
  std::string text = "version 1\n";
  for (const PathRule& rule : policy.paths) {
    text += "allow " + wordsOf(rule.rights) + " " + writtenWord(rule.path) + "\n";
  }
  addPorts(policy, Right::Bind, text);
  addPorts(policy, Right::Connect, text);
  if (policy.network == NetworkMode::None) text += "network none\n";
  for (const Right right : {Right::Network, Right::Abstract, Right::Signal, Right::Processes}) {
    if (policy.allowsAll(right)) text.append("allow ").append(nameOf(right)).append("\n");
  }
  if (!policy.required.isEmpty()) text += "require " + namesOf(policy.required, " ") + "\n";
  return text;
}

}  // namespace vanto
