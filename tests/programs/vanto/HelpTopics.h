// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string>
#include <vector>

#include "vanto/HelpTopic.h"

namespace vanto::tool {

inline std::vector<std::string> commandsOf(std::span<const HelpTopic> topics) {
  std::vector<std::string> commands;
  for (const HelpTopic& topic : topics) commands.emplace_back(topic.command);
  return commands;
}

/// True when the usage of a topic has the topic's own command, and its text begins with a sentence and ends its last
/// line.
inline bool showsItsUsage(const HelpTopic& topic) {
  const std::string_view text = topic.text;
  const std::string usage = "\nUsage: vanto " + std::string(topic.command);
  return text.find(usage) != text.npos && text.find(".\n") < text.find(usage) && text.ends_with("\n");
}

}  // namespace vanto::tool
