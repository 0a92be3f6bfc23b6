// SPDX-License-Identifier: Apache-2.0
#include "vanto/CommandLine.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "vanto/CacheCheckCommand.h"
#include "vanto/CacheShowCommand.h"
#include "vanto/CacheWriteCommand.h"
#include "vanto/HelpText.h"
#include "vanto/JobCommand.h"
#include "vanto/LintCommand.h"
#include "vanto/ListCommand.h"
#include "vanto/LoadCommand.h"
#include "vanto/LogsCommand.h"
#include "vanto/OrderCommand.h"
#include "vanto/PlistCommand.h"
#include "vanto/ShowCommand.h"
#include "vanto/StatusCommand.h"
#include "vanto/UnitsCommand.h"
#include "vanto/VisibleText.h"
#include "vanto/WhyCommand.h"

namespace vanto::tool {
namespace {

/// The grammar of all commands, and the one that was asked for.
class CommandLine {
 public:
  explicit CommandLine(Console& console) : console_(console), app_("", "vanto") {
    app_.formatter_fn(helpOf);
    app_.set_help_flag("-h,--help", "");
    app_.set_version_flag("--version", VANTO_TOOL_VERSION);
    app_.require_subcommand(1);
    addList();
    addShow();
    addJob();
    addCache();
    addLint();
    addPlist();
    addLoad();
    for (OrderCommand& order : orders_) addOrder(order);
    addStatus();
    addLogs();
    addWhy();
    addUnits();
  }

  ExitStatus run(int argc, const char* const* argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return report(error);
    }
    return command_ ? command_() : ExitStatus::Failed;
  }

 private:
  /// CLI11 asks for help by the command's name and the names of those above it.
  static std::string helpOf(const CLI::App* app, const std::string&, CLI::AppFormatMode) {
    std::string name = app->get_name();
    if (app->get_parent() != nullptr && app->get_parent()->get_name() == "cache") name = "cache " + name;
    return helpText(name);
  }

  ExitStatus report(const CLI::ParseError& error) {
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
  std::optional<std::string> unknownCommand(const CLI::ParseError& error) const {
    const std::vector<std::string> rest = app_.remaining(true);
    const bool isCommand = !rest.empty() && !rest.front().empty() && rest.front().front() != '-';
    if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr || !isCommand) return std::nullopt;
    return visible(rest.front()) + ": there is no such command";
  }

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

  void addList() {
    CLI::App* app = add(app_, "list", list_);
    app->add_option("PLACE", list_.places)->required();
    app->add_flag("--json", list_.isJson);
  }

  void addShow() {
    CLI::App* app = add(app_, "show", show_);
    app->add_option("BUNDLE", show_.path)->required();
    CLI::Option* json = app->add_flag("--json", show_.isJson);
    app->add_flag("--description", show_.isDescription)->excludes(json);
  }

  void addJob() {
    static const std::map<std::string, JobForm> forms{{"xml", JobForm::Xml},
                                                      {"binary", JobForm::Binary},
                                                      {"json", JobForm::Json},
                                                      {"job-data", JobForm::JobData},
                                                      {"ipc", JobForm::Ipc}};
    CLI::App* app = add(app_, "job", job_);
    app->add_option("BUNDLE", job_.bundles)->required();
    addChoice(*app, "-f,--format", forms, [this](JobForm form) { job_.form = form; });
  }

  void addCache() {
    CLI::App* cache = app_.add_subcommand("cache");
    cache->require_subcommand(1);
    CLI::App* write = add(*cache, "write", cacheWrite_);
    write->add_option("FILE", cacheWrite_.file)->required();
    write->add_option("PLACE", cacheWrite_.places);
    CLI::App* show = add(*cache, "show", cacheShow_);
    show->add_option("FILE", cacheShow_.file)->required();
    show->add_flag("--json", cacheShow_.isJson);
    CLI::App* check = add(*cache, "check", cacheCheck_);
    check->add_option("FILE", cacheCheck_.file)->required();
    check->add_option("PLACE", cacheCheck_.places);
    check->add_flag("--json", cacheCheck_.isJson);
  }

  void addLint() {
    CLI::App* app = add(app_, "lint", lint_);
    app->add_option("BUNDLE", lint_.places)->required();
    app->add_flag("--json", lint_.isJson);
  }

  void addPlist() {
    static const std::map<std::string, DocumentForm> forms{
        {"xml", DocumentForm::Xml}, {"binary", DocumentForm::Binary}, {"json", DocumentForm::Json}};
    CLI::App* app = add(app_, "plist", plist_);
    app->add_option("FILE", plist_.file);
    addChoice(*app, "-t,--to", forms, [this](DocumentForm form) { plist_.to = form; });
    app->add_option("-o,--output", plist_.output);
  }

  void addLoad() {
    CLI::App* app = add(app_, "load", load_);
    app->add_option("BUNDLE", load_.sources)->required();
    addManagerChoice(*app, load_.choice);
  }

  void addOrder(OrderCommand& order) {
    CLI::App* app = add(app_, order.order, order);
    app->add_option("LABEL", order.labels)->required();
    addManagerChoice(*app, order.choice);
  }

  void addStatus() {
    CLI::App* app = add(app_, "status", status_);
    app->add_option("LABEL", status_.labels);
    app->add_flag("--json", status_.isJson);
    app->add_flag("-w,--watch", status_.isWatching);
    addManagerChoice(*app, status_.choice);
  }

  void addLogs() {
    CLI::App* app = add(app_, "logs", logs_);
    app->add_option("LABEL", logs_.label)->required();
    app->add_option("-n,--lines", logs_.lines)->check(CLI::NonNegativeNumber);
    app->add_flag("-f,--follow", logs_.isFollowing);
    addManagerChoice(*app, logs_.choice);
  }

  void addWhy() {
    CLI::App* app = add(app_, "why", why_);
    app->add_option("LABEL", why_.label)->required();
    addManagerChoice(*app, why_.choice);
  }

  void addUnits() {
    CLI::App* app = add(app_, "units", units_);
    app->add_option("BUNDLE", units_.bundles)->required();
    app->add_option("-o,--output", units_.directory);
    app->add_option("--account", units_.account);
  }

  static void addManagerChoice(CLI::App& app, ManagerChoice& choice) {
    static const std::map<std::string, ManagerDomain> domains{
        {"session", ManagerDomain::Session}, {"user", ManagerDomain::User}, {"system", ManagerDomain::System}};
    static constexpr std::uint64_t second = 1'000'000'000;
    addChoice(app, "-d,--domain", domains, [&choice](ManagerDomain domain) { choice.domain = domain; });
    CLI::Option* timeout = app.add_option_function<std::uint64_t>(
        "--timeout", [&choice](std::uint64_t seconds) { choice.timeout = seconds * second; });
    timeout->check(CLI::Range(std::uint64_t{1}, ManagerClient::longestTimeout / second));
  }

  /// An option whose value is one of the words.
  template <typename Value, typename Take>
  static void addChoice(CLI::App& app, const std::string& names, const std::map<std::string, Value>& words, Take take) {
    CLI::Option* option =
        app.add_option_function<std::string>(names, [take, &words](const std::string& word) { take(words.at(word)); });
    option->check(CLI::IsMember(words));
  }

  Console& console_;
  CLI::App app_;
  std::function<ExitStatus()> command_;
  ListCommand list_;
  ShowCommand show_;
  JobCommand job_;
  CacheWriteCommand cacheWrite_;
  CacheShowCommand cacheShow_;
  CacheCheckCommand cacheCheck_;
  LintCommand lint_;
  PlistCommand plist_;
  LoadCommand load_;
  OrderCommand orders_[5] = {{"unload", "unloaded", {}, {}},
                             {"start", "started", {}, {}},
                             {"stop", "stopped; the next client starts it again", {}, {}},
                             {"restart", "restarted", {}, {}},
                             {"hold", "held; no client starts it until vanto start", {}, {}}};
  StatusCommand status_;
  LogsCommand logs_;
  WhyCommand why_;
  UnitsCommand units_;
};

}  // namespace

ExitStatus runCommandLine(int argc, const char* const* argv, Console& console) {
  return CommandLine(console).run(argc, argv);
}

}  // namespace vanto::tool
