// SPDX-License-Identifier: Apache-2.0
#include "vanto/ShowCommand.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "vanto/DocumentForm.h"
#include "vanto/Indentation.h"
#include "vanto/InfoFile.h"
#include "vanto/ServicePath.h"
#include "vanto/ServiceSummary.h"
#include "vanto/ServiceTypeName.h"
#include "vanto/ValueTree.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

/// The service whose executable is at `path`, links resolved; null with a problem.
VantoServiceBundle* serviceOfExecutable(const std::string& path, std::string& problem) {
  const std::unique_ptr<char, Free> real(realpath(path.c_str(), nullptr));
  if (!real) {
    problem = visible(path) + ": " + std::strerror(errno);
    return nullptr;
  }
  const Ref<PlistString> text = PlistString::create(real.get());
  VantoServiceBundle* service = text ? VantoServiceBundle::VantoServiceBundleFromExecutableAtPath(text.get()) : nullptr;
  if (service == nullptr) problem = visible(path) + ": is no service bundle, nor in one; vanto list finds them";
  return service;
}

VantoServiceBundle* serviceAt(const std::string& path, std::string& problem) {
  const std::string trimmed(ServicePath::trimmed(path));
  if (ServicePath::extension(trimmed) != "vanto") return serviceOfExecutable(trimmed, problem);
  problem = whyNoService(trimmed);
  return problem.empty() ? VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(trimmed).asTemporary())
                         : nullptr;
}

void printField(Console& console, const char* name, const PlistString* value) {
  console.printLine(std::string("  ") + name + (value == nullptr ? "-" : visible(value->text())));
}

void printTree(Console& console, const char* title, Object* value) {
  console.printLine(console.styled(Style::Bold, title));
  console.print(value == nullptr ? "  (none)\n" : treeOf(value, 1));
}

void print(Console& console, VantoServiceBundle& service) {
  const PlistString* identifier = service.identifier();
  console.printLine(
      console.styled(Style::Bold, identifier == nullptr ? "(no identifier)" : visible(identifier->text())));
  printField(console, "Bundle:     ", service.bundle()->bundlePath());
  printField(console, "Executable: ", service.executablePath());
  printField(console, "Resources:  ", service.bundle()->resourcePath());
  console.printLine(std::string("  Type:       ") + serviceTypeName(service.serviceType()));
  printTree(console, "Service dictionary", service.serviceDictionary());
  printTree(console, "Job", service.tolvendJobDictionary());
}

ExitStatus printJson(Console& console, VantoServiceBundle& service) {
  const std::string path(service.bundle()->bundlePath()->text());
  const Ref<PlistMutableDictionary> object = ServiceSummary::dictionary(service, path);
  auto set = [&object](const char* key, Object* value) {
    if (value != nullptr) object->setValueForKey(value, PlistString::create(key).get());
  };
  set("resources", service.bundle()->resourcePath());
  set("serviceDictionary", service.serviceDictionary());
  set("job", service.tolvendJobDictionary());
  std::string problem;
  const std::optional<std::string> text = writeDocument(*object, DocumentForm::Json, problem);
  if (!text) {
    console.complain(visible(path) + ": " + problem);
    return ExitStatus::Failed;
  }
  console.print(*text);
  return ExitStatus::Fine;
}

ExitStatus printDescription(Console& console, VantoServiceBundle& service) {
  constexpr std::size_t blanksPerLevel = 4;
  // The service dictionary may lie in the job too, in part.
  if (indentsBeyond(service.serviceDictionary(), blanksPerLevel)) {
    console.complain(visible(service.bundle()->bundlePath()->text()) +
                     ": its description would be blanks above all, more than 64 MiB of them; vanto show --json has it");
    return ExitStatus::Failed;
  }
  console.print(visibleLines(service.description()->text()));
  return ExitStatus::Fine;
}

}  // namespace

ExitStatus ShowCommand::run(Console& console) const {
  std::string problem;
  VantoServiceBundle* service = serviceAt(path, problem);
  if (service == nullptr) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  if (isJson) return printJson(console, *service);
  if (isDescription) return printDescription(console, *service);
  print(console, *service);
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
