// SPDX-License-Identifier: Apache-2.0
#include "vanto/HelpText.h"

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "programs/vanto/HelpTopics.h"
#include "vanto/CodeHelp.h"
#include "vanto/ManagerHelp.h"
#include "vanto/ProfileHelp.h"
#include "vanto/ServiceHelp.h"

namespace vanto::tool {
namespace {

/// Each command that has help, and the program itself.
std::vector<std::string> everyCommand() {
  std::vector<std::string> commands{"vanto"};
  for (const std::span<const HelpTopic> topics : {serviceHelp(), managerHelp(), profileHelp(), codeHelp()}) {
    for (const std::string& command : commandsOf(topics)) commands.push_back(command);
  }
  return commands;
}

std::string sourceOf(const char* name) {
  std::ostringstream text;
  text << std::ifstream(std::string(VANTO_TOOL_SOURCE) + "/" + name).rdbuf();
  EXPECT_FALSE(text.str().empty()) << name;
  return text.str();
}

std::set<std::string> wordsIn(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  return {std::sregex_token_iterator(text.begin(), text.end(), expression), std::sregex_token_iterator()};
}

/// Every long option that any help text names.
std::set<std::string> helpedOptions() {
  std::set<std::string> options;
  for (const std::string& command : everyCommand()) options.merge(wordsIn(helpText(command), "--[a-z][a-z-]+"));
  return options;
}

TEST(HelpText, SaysUsageExamplesAndExitStatusOfEachCommand) {
  for (const std::string& command : everyCommand()) {
    const std::string text = helpText(command);
    EXPECT_NE(text.find("Usage: vanto"), text.npos) << command;
    if (std::set<std::string>{"cache", "key", "profile", "requirement", "trust"}.contains(command)) continue;
    EXPECT_NE(text.find("Example"), text.npos) << command;
    EXPECT_NE(text.find("Exit status: 0"), text.npos) << command;
  }
}

TEST(HelpText, FitsATerminal) {
  for (const std::string& command : everyCommand()) {
    std::istringstream lines(helpText(command));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 96U) << line;
  }
}

TEST(HelpText, NamesEachOptionThatTheCommandLineHas) {
  const std::set<std::string> options = wordsIn(
      sourceOf("CommandLine.cpp") + sourceOf("CodeCommandLine.cpp") + sourceOf("CommandGrammar.cpp"), "--[a-z][a-z-]+");
  EXPECT_EQ(options, helpedOptions());
}

TEST(HelpText, IsAsTheManualPageAndTheCompletionsHaveIt) {
  std::string manual = sourceOf("vanto.1");
  manual = std::regex_replace(manual, std::regex("\\\\-"), "-");
  for (const std::string& option : helpedOptions()) {
    EXPECT_NE(manual.find(option), manual.npos) << option;
    EXPECT_NE(sourceOf("completion.bash").find(option), std::string::npos) << option;
    EXPECT_NE(sourceOf("completion.zsh").find(option), std::string::npos) << option;
  }
  for (const std::string& command : everyCommand()) {
    if (command == "vanto") continue;
    EXPECT_NE(manual.find("vanto " + command), manual.npos) << command;
  }
}

TEST(HelpText, IsThatOfTheCommand) {
  for (const std::span<const HelpTopic> topics : {serviceHelp(), managerHelp(), profileHelp(), codeHelp()}) {
    for (const HelpTopic& topic : topics) EXPECT_EQ(helpText(std::string(topic.command)), topic.text) << topic.command;
  }
}

TEST(HelpText, IsThatOfTheProgramForACommandThatThereIsNot) {
  EXPECT_EQ(helpText("nonsense"), helpText("vanto"));
}

}  // namespace
}  // namespace vanto::tool
