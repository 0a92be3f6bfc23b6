// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "signing/Requirement.h"
#include "signing/RequirementError.h"

namespace vanto {

/// Compiled requirements by their texts, so that a service compiles each of its own once and not for each client. Keeps
/// at most limits::requirementsKept; beyond them the one that was not asked for the longest goes. What was handed out
/// stays good. Any thread may ask at any time.
class RequirementCache {
 public:
  RequirementCache() = default;
  RequirementCache(const RequirementCache&) = delete;
  RequirementCache& operator=(const RequirementCache&) = delete;

  /// The one of the process, never destroyed.
  [[nodiscard]] static RequirementCache& shared();

  /// The requirement that `text` says. Null when it says none, which is not kept; `error`, if given, then says why and
  /// is otherwise untouched.
  [[nodiscard]] std::shared_ptr<const Requirement> requirementFor(std::string_view text,
                                                                  RequirementError* error = nullptr);

  /// How many are kept.
  [[nodiscard]] std::size_t count() const;

 private:
  struct Kept {
    std::shared_ptr<const Requirement> requirement;
    /// The number of the request that asked for it last.
    std::uint64_t lastUse;
  };

  [[nodiscard]] std::shared_ptr<const Requirement> find(std::string_view text);
  [[nodiscard]] std::shared_ptr<const Requirement> keep(std::string_view text,
                                                        std::shared_ptr<const Requirement> requirement);
  void dropOldest();

  /// Guards what follows; never held while a text is compiled.
  mutable std::mutex mutex_;
  /// Ordered, so that no choice of texts makes it slow.
  std::map<std::string, Kept, std::less<>> kept_;
  std::uint64_t uses_ = 0;
};

}  // namespace vanto
