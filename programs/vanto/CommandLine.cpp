// SPDX-License-Identifier: Apache-2.0
#include "vanto/CommandLine.h"

#include <cstdint>
#include <map>
#include <string>

#include "vanto/CacheCheckCommand.h"
#include "vanto/CacheShowCommand.h"
#include "vanto/CacheWriteCommand.h"
#include "vanto/CommandGrammar.h"
#include "vanto/JobCommand.h"
#include "vanto/LintCommand.h"
#include "vanto/ListCommand.h"
#include "vanto/LoadCommand.h"
#include "vanto/LogsCommand.h"
#include "vanto/OrderCommand.h"
#include "vanto/PlistCommand.h"
#include "vanto/ProfileCheckCommand.h"
#include "vanto/ProfileDiffCommand.h"
#include "vanto/ProfileExplainCommand.h"
#include "vanto/ProfileLearnCommand.h"
#include "vanto/ProfileRunCommand.h"
#include "vanto/ProfileShowCommand.h"
#include "vanto/ShowCommand.h"
#include "vanto/StatusCommand.h"
#include "vanto/UnitsCommand.h"
#include "vanto/VisibleText.h"
#include "vanto/WhyCommand.h"

namespace vanto::tool {
namespace {

/// The grammar of all commands but those about code, and the one that was asked for.
class CommandLine : public CommandGrammar {
 public:
  explicit CommandLine(Console& console) : CommandGrammar(console) {
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
    addProfile();
  }

 private:
  void addList() {
    CLI::App* app = add(root(), "list", list_);
    app->add_option("PLACE", list_.places)->required();
    app->add_flag("--json", list_.isJson);
  }

  void addShow() {
    CLI::App* app = add(root(), "show", show_);
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
    CLI::App* app = add(root(), "job", job_);
    app->add_option("BUNDLE", job_.bundles)->required();
    addChoice(*app, "-f,--format", forms, [this](JobForm form) { job_.form = form; });
  }

  void addCache() {
    CLI::App* cache = root().add_subcommand("cache");
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
    CLI::App* app = add(root(), "lint", lint_);
    app->add_option("BUNDLE", lint_.places)->required();
    app->add_flag("--json", lint_.isJson);
  }

  void addPlist() {
    static const std::map<std::string, DocumentForm> forms{
        {"xml", DocumentForm::Xml}, {"binary", DocumentForm::Binary}, {"json", DocumentForm::Json}};
    CLI::App* app = add(root(), "plist", plist_);
    app->add_option("FILE", plist_.file);
    addChoice(*app, "-t,--to", forms, [this](DocumentForm form) { plist_.to = form; });
    app->add_option("-o,--output", plist_.output);
  }

  void addLoad() {
    CLI::App* app = add(root(), "load", load_);
    app->add_option("BUNDLE", load_.sources)->required();
    addManagerChoice(*app, load_.choice);
  }

  void addOrder(OrderCommand& order) {
    CLI::App* app = add(root(), order.order, order);
    app->add_option("LABEL", order.labels)->required();
    addManagerChoice(*app, order.choice);
  }

  void addStatus() {
    CLI::App* app = add(root(), "status", status_);
    app->add_option("LABEL", status_.labels);
    app->add_flag("--json", status_.isJson);
    app->add_flag("-w,--watch", status_.isWatching);
    addManagerChoice(*app, status_.choice);
  }

  void addLogs() {
    CLI::App* app = add(root(), "logs", logs_);
    app->add_option("LABEL", logs_.label)->required();
    app->add_option("-n,--lines", logs_.lines)->check(CLI::NonNegativeNumber);
    app->add_flag("-f,--follow", logs_.isFollowing);
    addManagerChoice(*app, logs_.choice);
  }

  void addWhy() {
    CLI::App* app = add(root(), "why", why_);
    app->add_option("LABEL", why_.label)->required();
    addManagerChoice(*app, why_.choice);
  }

  void addUnits() {
    CLI::App* app = add(root(), "units", units_);
    app->add_option("BUNDLE", units_.bundles)->required();
    app->add_option("-o,--output", units_.directory);
    app->add_option("--account", units_.account);
  }

  void addProfile() {
    CLI::App* profile = root().add_subcommand("profile");
    profile->require_subcommand(1);
    CLI::App* check = add(*profile, "check", profileCheck_);
    check->add_option("FILE", profileCheck_.file)->required();
    check->add_flag("--json", profileCheck_.isJson);
    addProfileChoice(*check, profileCheck_.choice);
    CLI::App* explain = add(*profile, "explain", profileExplain_);
    explain->add_option("FILE", profileExplain_.file)->required();
    explain->add_option("RIGHT", profileExplain_.right)->required();
    explain->add_option("SUBJECT", profileExplain_.subject);
    addProfileChoice(*explain, profileExplain_.choice);
    CLI::App* diff = add(*profile, "diff", profileDiff_);
    diff->add_option("OLD", profileDiff_.older)->required();
    diff->add_option("NEW", profileDiff_.newer)->required();
    addProfileChoice(*diff, profileDiff_.choice);
    CLI::App* run = add(*profile, "run", profileRun_);
    run->add_option("FILE", profileRun_.file)->required();
    run->add_option("COMMAND", profileRun_.command)->required();
    addProfileChoice(*run, profileRun_.choice);
    CLI::App* learn = add(*profile, "learn", profileLearn_);
    learn->add_option("-o,--out,--output", profileLearn_.output);
    learn->add_flag("--force", profileLearn_.isForced);
    learn->add_option("--bundle", profileLearn_.bundle);
    learn->add_option("COMMAND", profileLearn_.command)->required();
    add(*profile, "show", profileShow_)->add_option("NAME", profileShow_.name);
  }

  static void addProfileChoice(CLI::App& app, ProfileChoice& choice) {
    app.add_option("--bundle", choice.bundle);
    app.add_option("--parameter", choice.parameters)->allow_extra_args(false);
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
  ProfileCheckCommand profileCheck_;
  ProfileExplainCommand profileExplain_;
  ProfileDiffCommand profileDiff_;
  ProfileRunCommand profileRun_;
  ProfileLearnCommand profileLearn_;
  ProfileShowCommand profileShow_;
};

}  // namespace

ExitStatus runCommandLine(int argc, const char* const* argv, Console& console) {
  return CommandLine(console).run(argc, argv);
}

}  // namespace vanto::tool
