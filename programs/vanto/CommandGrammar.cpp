// SPDX-License-Identifier: Apache-2.0
#include "vanto/CommandGrammar.h"

#include <sstream>
#include <vector>

#include "vanto/HelpText.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

CommandGrammar::CommandGrammar(Console& console) : console_(console), app_("", "vanto") {
  app_.formatter_fn(helpOf);
  app_.set_help_flag("-h,--help", "");
  app_.set_version_flag("--version", VANTO_TOOL_VERSION);
  app_.require_subcommand(1);
}

ExitStatus CommandGrammar::run(int argc, const char* const* argv) {
  try {
    app_.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return report(error);
  }
  return command_ ? command_() : ExitStatus::Failed;
}

/// CLI11 asks for help by the command's name and the names of those above it.
std::string CommandGrammar::helpOf(const CLI::App* app, const std::string&, CLI::AppFormatMode) {
  const CLI::App* const parent = app->get_parent();
  const bool isBelow = parent != nullptr && parent->get_parent() != nullptr;
  return helpText(isBelow ? parent->get_name() + " " + app->get_name() : app->get_name());
}

ExitStatus CommandGrammar::report(const CLI::ParseError& error) {
  std::ostringstream output;
  std::ostringstream message;
  if (app_.exit(error, output, message) == 0) {
    console_.print(output.str());
    return ExitStatus::Fine;
  }
  console_.complain(unknownCommand(error).value_or(visible(error.what())) + "; see vanto --help");
  return ExitStatus::Failed;
}

/// CLI11 only finds that a command is missing where there is one it does not know.
std::optional<std::string> CommandGrammar::unknownCommand(const CLI::ParseError& error) const {
  const std::vector<std::string> rest = app_.remaining(true);
  const bool isCommand = !rest.empty() && !rest.front().empty() && rest.front().front() != '-';
  if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || !isCommand) return std::nullopt;
  return visible(rest.front()) + ": there is no such command";
}

}  // namespace vanto::tool
