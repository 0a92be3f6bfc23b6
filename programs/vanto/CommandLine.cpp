// SPDX-License-Identifier: Apache-2.0
#include "vanto/CommandLine.h"

#include <map>
#include <string>

#include "vanto/CacheCheckCommand.h"
#include "vanto/CacheShowCommand.h"
#include "vanto/CacheWriteCommand.h"
#include "vanto/CommandGrammar.h"
#include "vanto/JobCommand.h"
#include "vanto/LintCommand.h"
#include "vanto/ListCommand.h"
#include "vanto/PlistCommand.h"
#include "vanto/ShowCommand.h"

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

  ListCommand list_;
  ShowCommand show_;
  JobCommand job_;
  CacheWriteCommand cacheWrite_;
  CacheShowCommand cacheShow_;
  CacheCheckCommand cacheCheck_;
  LintCommand lint_;
  PlistCommand plist_;
};

}  // namespace

ExitStatus runCommandLine(int argc, const char* const* argv, Console& console) {
  return CommandLine(console).run(argc, argv);
}

}  // namespace vanto::tool
