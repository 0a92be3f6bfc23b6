// SPDX-License-Identifier: Apache-2.0
#include "vanto/LoadCommand.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include <sys/stat.h>

#include <VantoService/PlistArray.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/DocumentForm.h"
#include "vanto/InputFile.h"
#include "vanto/ServiceJob.h"
#include "vanto/ServiceSearch.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// Why the executable at `path` cannot be what it should be; empty when it can.
std::string troubleWith(const std::string& path) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return std::strerror(errno);
  if (!S_ISREG(facts.st_mode)) return "It is no file";
  return (facts.st_mode & 0111) == 0 ? "It may not be executed" : "";
}

bool isFile(const std::string& argument) {
  struct stat facts {};
  return argument == "-" || (stat(argument.c_str(), &facts) == 0 && !S_ISDIR(facts.st_mode));
}

/// Hands jobs to managers, and tells what becomes of each.
class Loading {
 public:
  Loading(const LoadCommand& command, Console& console)
      : command_(command), console_(console), search_(command.choice) {}

  [[nodiscard]] ExitStatus run() {
    for (const std::string& source : command_.sources) {
      if (isFile(source)) {
        loadFile(source);
      } else {
        loadPlace(source);
      }
    }
    return status_;
  }

 private:
  void fail(ExitStatus status, const std::string& text) {
    console_.complain(text);
    status_ = worse(status_, status);
  }

  void loadPlace(const std::string& place) {
    ServiceSearch services;
    services.add(place);
    for (const std::string& problem : services.problems()) fail(ExitStatus::Failed, problem);
    for (const std::string& path : services.paths()) {
      const TemporaryScope scope;
      std::string problem;
      if (const PlistDictionary* job = jobAt(path, problem)) {
        load(*job, visible(path));
      } else {
        fail(ExitStatus::Failed, problem);
      }
    }
  }

  /// A file as `vanto job` writes it: a job, or an array of jobs.
  void loadFile(const std::string& path) {
    std::string problem;
    const std::optional<std::string> document = readInput(path, problem);
    const std::string name = nameOfInput(path);
    const Ref<PlistValue> value = document ? readDocument(*document, name, problem) : nullptr;
    if (!value) return fail(ExitStatus::Failed, problem);
    const auto* array = as<PlistArray>(value.get());
    if (array == nullptr) return loadValue(value.get(), name);
    for (std::size_t index = 0; index < array->count(); ++index) {
      loadValue(array->at(index), name + ": [" + std::to_string(index) + "]");
    }
  }

  void loadValue(Object* value, const std::string& source) {
    if (const auto* job = as<PlistDictionary>(value)) return load(*job, source);
    fail(ExitStatus::Failed, source + ": is no job, for it is no dictionary");
  }

  /// `source` says, visibly, where the job is from.
  void load(const PlistDictionary& job, const std::string& source) {
    std::string problem;
    const std::optional<ManagerDomain> domain =
        command_.choice.domain ? command_.choice.domain : domainOfJob(job, problem);
    if (!domain) return fail(ExitStatus::Failed, source + ": not loaded: " + problem);
    OrderFault fault;
    ManagerClient* manager = search_.manager(*domain, fault);
    const IpcReference reply = manager == nullptr ? nullptr : manager->send(orderFor(job), fault);
    if (!reply) return fail(ExitStatus::Failed, source + ": not loaded: " + fault.text);
    ReplyReader reader(reply.get());
    const std::string label = reader.text("label");
    const bool isReplaced = reader.flag("replaced");
    if (!reader.isFine()) return fail(ExitStatus::Failed, source + ": " + manager->malformed(reader.problem()).text);
    console_.printLine(visible(label) + (isReplaced ? ": replaced in the " : ": loaded into the ") + nameOf(*domain) +
                       " domain");
    warnOfExecutable(job, source);
  }

  static Order orderFor(const PlistDictionary& job) {
    const IpcReference object(VantoServiceBundle::createVantoJobsArrayFromArray(const_cast<PlistDictionary*>(&job)));
    Order order("load");
    order.set("job", object.get());
    return order;
  }

  void warnOfExecutable(const PlistDictionary& job, const std::string& source) {
    const std::string path(executableOfJob(job));
    const std::string trouble = path.empty() ? std::string() : troubleWith(path);
    if (trouble.empty()) return;
    fail(ExitStatus::Found, source + ": warning: it cannot be started from " + visible(path) + ": " + trouble);
  }

  const LoadCommand& command_;
  Console& console_;
  ManagerSearch search_;
  ExitStatus status_ = ExitStatus::Fine;
};

}  // namespace

ExitStatus LoadCommand::run(Console& console) const {
  return Loading(*this, console).run();
}

}  // namespace vanto::tool
