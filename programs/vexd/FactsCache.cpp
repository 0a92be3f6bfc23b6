// SPDX-License-Identifier: Apache-2.0
#include "vexd/FactsCache.h"

#include <utility>

#include "vexd/MonotonicTime.h"
#include "vexd/limits.h"

namespace vanto::vexd {

bool FactsKey::of(const CodeFiles& files, FactsKey& key) {
  key.name = files.name;
  // What could not be opened has no identity.
  bool isReliable = files.infoProblem.empty() && files.bundleSignatureProblem.empty() && files.signatureProblem.empty();
  isReliable = FileIdentity::of(files.executable.get(), key.executable) && isReliable;
  isReliable = FileIdentity::of(files.info.get(), key.info) && isReliable;
  isReliable = FileIdentity::of(files.bundleSignature.get(), key.bundleSignature) && isReliable;
  return FileIdentity::of(files.signature.get(), key.signature) && isReliable;
}

FactsCache::Kept FactsCache::find(const FactsKey& key, std::uint64_t trust) {
  forgetOtherTrust(trust);
  const auto found = entries_.find(key);
  if (found == entries_.end()) return nullptr;
  const std::uint64_t end = found->second.report->goodUntil;
  if (end != UINT64_MAX && end < monotonicNow()) {
    uses_.erase(found->second.use);
    entries_.erase(found);
    return nullptr;
  }
  uses_.splice(uses_.begin(), uses_, found->second.use);
  return found->second.report;
}

void FactsCache::keep(const FactsKey& key, std::uint64_t trust, Kept report) {
  // What was judged by what is trusted no more comes too late.
  if (trust < trust_) return;
  forgetOtherTrust(trust);
  const auto [place, isNew] = entries_.try_emplace(key);
  place->second.report = std::move(report);
  if (!isNew) return;
  uses_.push_front(&place->first);
  place->second.use = uses_.begin();
  if (entries_.size() <= limits::cachedFacts) return;
  entries_.erase(*uses_.back());
  uses_.pop_back();
}

void FactsCache::forgetOtherTrust(std::uint64_t trust) {
  if (trust == trust_) return;
  entries_.clear();
  uses_.clear();
  trust_ = trust;
}

}  // namespace vanto::vexd
