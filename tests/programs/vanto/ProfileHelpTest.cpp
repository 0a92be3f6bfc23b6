// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileHelp.h"

#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "programs/vanto/HelpTopics.h"

namespace vanto::tool {
namespace {

TEST(ProfileHelp, HasEachCommandAboutItsSubject) {
  EXPECT_EQ(commandsOf(profileHelp()),
            (std::vector<std::string>{"profile", "profile check", "profile explain", "profile diff", "profile show",
                                      "profile run", "profile learn"}));
}

TEST(ProfileHelp, ShowsHowEachCommandIsCalled) {
  for (const HelpTopic& topic : profileHelp()) EXPECT_TRUE(showsItsUsage(topic)) << topic.command;
}

/// The usage in a topic, with its lines joined and the words for values that the group has.
std::string usageOf(const HelpTopic& topic) {
  static const std::regex usage("Usage: ([^\n]+(\n  [^\n]+)*)");
  std::cmatch found;
  const std::string_view text = topic.text;
  if (!std::regex_search(text.begin(), text.end(), found, usage)) return {};
  const std::string line = std::regex_replace(found[1].str(), std::regex("\n +"), " ");
  return std::regex_replace(line, std::regex("\\[--bundle BUNDLE\\] \\[--parameter NAME=VALUE\\]\\.\\.\\."),
                            "[VALUES]");
}

TEST(ProfileHelp, SaysOfTheGroupWhatEachCommandSaysOfItself) {
  const std::string group(profileHelp().front().text);
  for (const HelpTopic& topic : profileHelp().subspan(1)) {
    ASSERT_NE(usageOf(topic), "") << topic.command;
    EXPECT_NE(group.find(" " + usageOf(topic) + "\n"), std::string::npos) << usageOf(topic);
  }
}

}  // namespace
}  // namespace vanto::tool
