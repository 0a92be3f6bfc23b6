// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// What the command lines of both programs have in common: commands, each an object with fields for its options and
/// run(), help, and complaints of the usage. A subclass adds its commands. Heavy to include.
class CommandGrammar {
 public:
  explicit CommandGrammar(Console& console);
  CommandGrammar(const CommandGrammar&) = delete;
  CommandGrammar& operator=(const CommandGrammar&) = delete;

  /// Carries out the command that the arguments name.
  [[nodiscard]] ExitStatus run(int argc, const char* const* argv);

 protected:
  ~CommandGrammar() = default;

  [[nodiscard]] CLI::App& root() noexcept { return app_; }

  /// A command that is run when it was asked for.
  template <typename Command>
  CLI::App* add(CLI::App& parent, const char* name, Command& command) {
    CLI::App* app = parent.add_subcommand(name);
    app->callback([this, &command] {
      command_ = [this, &command] {
        return command.run(console_);
      };
    });
    return app;
  }

  /// An option whose value is one of the words.
  template <typename Value, typename Take>
  static void addChoice(CLI::App& app, const std::string& names, const std::map<std::string, Value>& words, Take take) {
    CLI::Option* option =
        app.add_option_function<std::string>(names, [take, &words](const std::string& word) { take(words.at(word)); });
    option->check(CLI::IsMember(words));
  }

 private:
  static std::string helpOf(const CLI::App* app, const std::string& name, CLI::AppFormatMode mode);
  ExitStatus report(const CLI::ParseError& error);
  std::optional<std::string> unknownCommand(const CLI::ParseError& error) const;

  Console& console_;
  CLI::App app_;
  std::function<ExitStatus()> command_;
};

}  // namespace vanto::tool
