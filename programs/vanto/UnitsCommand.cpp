// SPDX-License-Identifier: Apache-2.0
#include "vanto/UnitsCommand.h"

#include <optional>
#include <system_error>

#include <VantoService/TemporaryScope.h>

#include "vanto/ReplacedFile.h"
#include "vanto/ServiceJob.h"
#include "vanto/ServicePath.h"
#include "vanto/ServiceSearch.h"
#include "vanto/SystemdUnits.h"
#include "vanto/VisibleText.h"
#include "vantoproxy/ProxyPlace.h"

namespace vanto::tool {
namespace {

/// Puts one unit where it belongs; a visible problem, or empty.
std::string put(Console& console, const std::string& directory, const std::string& name, const std::string& contents) {
  if (directory.empty()) {
    console.print("# " + visible(name) + "\n" + contents + "\n");
    return {};
  }
  const std::string path = (directory == "/" ? directory : directory + "/") + name;
  std::string problem = replaceFile(path, contents);
  if (problem.empty()) console.printLine(visible(path));
  return problem;
}

/// The absolute path of what services are to be started through; empty with a visible problem.
std::string proxyFor(const UnitsCommand& command, std::string& problem) {
  if (command.proxy.empty()) return installedProxy();
  std::error_code error;
  std::string path = ServicePath::absolute(command.proxy, error);
  if (error) problem = visible(command.proxy) + ": " + error.message();
  return path;
}

/// Makes the units of the service at `path`; a visible problem, or empty.
std::string makeUnits(Console& console, const UnitsCommand& command, const std::string& proxy,
                      const std::string& path) {
  const TemporaryScope scope;
  std::string problem;
  const PlistDictionary* job = jobAt(path, problem);
  if (job == nullptr) return problem;
  const std::optional<SystemdUnits> units = SystemdUnits::of(*job, command.account, proxy, problem);
  if (!units) return visible(path) + ": has no units: " + problem;
  const std::string directory(ServicePath::trimmed(command.directory));
  problem = put(console, directory, units->socketName, units->socket);
  return problem.empty() ? put(console, directory, units->serviceName, units->service) : problem;
}

}  // namespace

ExitStatus UnitsCommand::run(Console& console) const {
  ServiceSearch search;
  search.add(bundles);
  std::vector<std::string> problems = search.problems();
  std::string proxyProblem;
  const std::string proxyFile = proxyFor(*this, proxyProblem);
  if (!proxyProblem.empty()) {
    console.complain(proxyProblem);
    return ExitStatus::Failed;
  }
  for (const std::string& path : search.paths()) {
    const std::string problem = makeUnits(console, *this, proxyFile, path);
    if (!problem.empty()) problems.push_back(problem);
  }
  for (const std::string& problem : problems) console.complain(problem);
  return problems.empty() ? ExitStatus::Fine : ExitStatus::Failed;
}

}  // namespace vanto::tool
