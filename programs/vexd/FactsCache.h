// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "vexd/DigestRequest.h"
#include "vexd/FileIdentity.h"
#include "vexd/Report.h"

namespace vanto::vexd {

/// What an answer depends on.
struct FactsKey {
  FileIdentity executable;
  FileIdentity info;
  FileIdentity bundleSignature;
  FileIdentity signature;
  std::string name;

  auto operator<=>(const FactsKey&) const noexcept = default;

  /// That of open files. False when one of them cannot be relied upon, and nothing must be kept.
  [[nodiscard]] static bool of(const CodeFiles& files, FactsKey& key);
};

/// Reports that were given. Beyond limits::cachedFacts the one that was not asked for the longest goes. Whom to trust
/// is part of an answer, so all go when that changes. For one thread.
class FactsCache {
 public:
  using Kept = std::shared_ptr<const Report>;

  /// The report that is kept; null when there is none.
  [[nodiscard]] Kept find(const FactsKey& key, std::uint64_t trust);
  /// Keeps a report that was found by the trust of that generation.
  void keep(const FactsKey& key, std::uint64_t trust, Kept report);

  [[nodiscard]] std::size_t count() const noexcept { return entries_.size(); }

 private:
  struct Entry {
    Kept report;
    std::list<const FactsKey*>::iterator use;
  };

  void forgetOtherTrust(std::uint64_t trust);

  std::uint64_t trust_ = 0;
  /// Ordered: the keys are of others' choice.
  std::map<FactsKey, Entry> entries_;
  /// The last used first.
  std::list<const FactsKey*> uses_;
};

}  // namespace vanto::vexd
