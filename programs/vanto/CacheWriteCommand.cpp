// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheWriteCommand.h"

#include <optional>
#include <system_error>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/CacheDocument.h"
#include "vanto/DocumentForm.h"
#include "vanto/InfoFile.h"
#include "vanto/Progress.h"
#include "vanto/ReplacedFile.h"
#include "vanto/ServicePath.h"
#include "vanto/ServiceSearch.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

ExitStatus fail(Console& console, const std::string& problem) {
  console.complain(problem);
  return ExitStatus::Failed;
}

/// Absolute, so that the cache can be read from anywhere. Empty with a problem.
std::string absolutePlace(const std::string& place, std::string& problem) {
  std::error_code error;
  std::string path = ServicePath::absolute(place, error);
  if (error) problem = visible(place) + ": " + error.message();
  if (!PlistString::create(path)) problem = visible(place) + ": the path is not UTF-8, which a cache needs";
  return path;
}

/// Archives what was found. Bundles that are none are told and left out.
ExitStatus archive(Console& console, const ServiceSearch& search, CacheDocument& cache) {
  ExitStatus status = ExitStatus::Fine;
  const Ref<PlistMutableArray> services = PlistMutableArray::create();
  Progress progress(console, "reading services", search.paths().size());
  for (const std::string& path : search.paths()) {
    const TemporaryScope scope;
    const Ref<PlistString> text = PlistString::create(path);
    VantoServiceBundle* service = text ? VantoServiceBundle::VantoServiceBundleAtPath(text.get()) : nullptr;
    if (service != nullptr) {
      cache.bundles.push_back(path);
      services->append(service->archiveForCache());
    } else {
      progress.hide();
      console.complain(whyNotTaken(path));
      status = ExitStatus::Found;
    }
    progress.advance();
  }
  cache.archives = services;
  return status;
}

}  // namespace

ExitStatus CacheWriteCommand::run(Console& console) const {
  std::string problem;
  CacheDocument cache;
  if (places.empty()) {
    const std::optional<CacheDocument> previous = CacheDocument::read(file, problem);
    if (!previous) return fail(console, problem + ", from the PLACEs that are given");
    cache.places = previous->places;
  }
  for (const std::string& place : places) {
    cache.places.push_back(absolutePlace(place, problem));
    if (!problem.empty()) return fail(console, problem);
  }
  ServiceSearch search;
  search.add(cache.places);
  // A place that cannot be read now would take its services out of the cache.
  for (const std::string& reason : search.problems()) console.complain(reason);
  if (!search.problems().empty()) return fail(console, visible(file) + ": not written");
  const ExitStatus status = archive(console, search, cache);
  const std::optional<std::string> bytes = writeDocument(*cache.value(), DocumentForm::Binary, problem);
  if (!bytes) return fail(console, visible(file) + ": not written: " + problem);
  if (file == "-") {
    if (console.output().isTerminal) return fail(console, "a cache is not for a terminal; name a file");
    console.print(*bytes);
    return status;
  }
  problem = replaceFile(file, *bytes);
  return problem.empty() ? status : fail(console, problem);
}

}  // namespace vanto::tool
