// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementCache.h"

#include <algorithm>
#include <new>
#include <utility>

#include "signing/RequirementParser.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// No destructor may run for it: threads can outlive main().
alignas(RequirementCache) constinit std::byte sharedPlace[sizeof(RequirementCache)]{};

}  // namespace

RequirementCache& RequirementCache::shared() {
  static RequirementCache& cache = *::new (sharedPlace) RequirementCache;
  return cache;
}

std::shared_ptr<const Requirement> RequirementCache::requirementFor(std::string_view text, RequirementError* error) {
  if (std::shared_ptr<const Requirement> found = find(text)) return found;
  std::shared_ptr<const Requirement> compiled = compileRequirement(text, error);
  return compiled ? keep(text, std::move(compiled)) : nullptr;
}

std::size_t RequirementCache::count() const {
  const std::lock_guard lock(mutex_);
  return kept_.size();
}

std::shared_ptr<const Requirement> RequirementCache::find(std::string_view text) {
  const std::lock_guard lock(mutex_);
  const auto found = kept_.find(text);
  if (found == kept_.end()) return nullptr;
  found->second.lastUse = ++uses_;
  return found->second.requirement;
}

/// Another thread may have compiled the same text meanwhile; then its result counts.
std::shared_ptr<const Requirement> RequirementCache::keep(std::string_view text,
                                                          std::shared_ptr<const Requirement> requirement) {
  const std::lock_guard lock(mutex_);
  const auto [place, isNew] = kept_.try_emplace(std::string(text), Kept{std::move(requirement), 0});
  place->second.lastUse = ++uses_;
  if (isNew && kept_.size() > limits::requirementsKept) dropOldest();
  return place->second.requirement;
}

void RequirementCache::dropOldest() {
  kept_.erase(std::ranges::min_element(kept_, {}, [](const auto& entry) { return entry.second.lastUse; }));
}

}  // namespace vanto
