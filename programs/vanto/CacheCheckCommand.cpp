// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheCheckCommand.h"

#include <optional>
#include <set>
#include <system_error>

#include "vanto/CacheDocument.h"
#include "vanto/Columns.h"
#include "vanto/DocumentForm.h"
#include "vanto/InfoFile.h"
#include "vanto/Progress.h"
#include "vanto/ServicePath.h"
#include "vanto/ServiceSearch.h"
#include "vanto/ServiceSummary.h"
#include "vanto/Staleness.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

struct StaleEntry {
  std::string path;
  Staleness staleness;
};

/// Places as the cache has its own.
std::vector<std::string> absolutePlaces(const std::vector<std::string>& places) {
  std::vector<std::string> result;
  for (const std::string& place : places) {
    std::error_code error;
    result.push_back(ServicePath::absolute(place, error));
  }
  return result;
}

std::vector<StaleEntry> staleEntriesOf(Console& console, const CacheDocument& cache, const ServiceSearch& search) {
  std::vector<StaleEntry> stale;
  Progress progress(console, "comparing services", cache.bundles.size());
  for (std::size_t index = 0; index < cache.bundles.size(); ++index) {
    Staleness staleness = Staleness::of(cache.bundles[index], cache.archives->at(index));
    if (!staleness.state.empty()) stale.push_back({cache.bundles[index], std::move(staleness)});
    progress.advance();
  }
  const std::set<std::string> known(cache.bundles.begin(), cache.bundles.end());
  for (const std::string& path : search.paths()) {
    // What is no service would not be in the cache.
    if (known.count(path) != 0 || !whyNoService(path).empty()) continue;
    stale.push_back({path, {"new", "the cache does not have it"}});
  }
  return stale;
}

void print(Console& console, const std::vector<StaleEntry>& stale) {
  std::vector<Row> rows;
  for (const StaleEntry& entry : stale) {
    rows.push_back({visible(entry.path), entry.staleness.state, entry.staleness.reason});
  }
  if (!rows.empty()) printTable(console, {"BUNDLE", "STATE", "REASON"}, rows);
}

void printJson(Console& console, const std::vector<StaleEntry>& stale) {
  const Ref<PlistMutableArray> list = PlistMutableArray::create();
  for (const StaleEntry& entry : stale) {
    const Ref<PlistMutableDictionary> object = PlistMutableDictionary::create();
    setText(*object, "bundle", entry.path);
    setText(*object, "state", entry.staleness.state);
    setText(*object, "reason", entry.staleness.reason);
    list->append(object.get());
  }
  std::string problem;
  console.print(writeDocument(*list, DocumentForm::Json, problem).value_or(""));
}

}  // namespace

ExitStatus CacheCheckCommand::run(Console& console) const {
  std::string problem;
  const std::optional<CacheDocument> cache = CacheDocument::read(file, problem);
  if (!cache) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  ServiceSearch search;
  search.add(places.empty() ? cache->places : absolutePlaces(places));
  for (const std::string& reason : search.problems()) console.complain(reason);
  const std::vector<StaleEntry> stale = staleEntriesOf(console, *cache, search);
  if (isJson) {
    printJson(console, stale);
  } else {
    print(console, stale);
  }
  if (!search.problems().empty()) return ExitStatus::Failed;
  return stale.empty() ? ExitStatus::Fine : ExitStatus::Found;
}

}  // namespace vanto::tool
