// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <utility>

#include <sys/types.h>

#include "vexd/DigestRequest.h"
#include "vexd/FactsCache.h"
#include "vexd/Report.h"

namespace vanto::vexd {

/// An executable that is to be digested.
struct DigestJob {
  /// Who asks, and the real user of the process that is looked at.
  uid_t asker = 0;
  uid_t user = 0;
  /// Of the executable.
  std::int64_t bytes = 0;
  dev_t device = 0;
  ino_t inode = 0;
  DigestRequest request;
  FactsKey key;
  /// Whether the key can be relied upon.
  bool isCacheable = false;
  std::uint64_t trust = 0;
  std::function<void(const Report&)> receive;
  std::function<bool()> isWanted;
};

/// The executables that wait, and which of them is next: so that nobody's can keep those of others waiting, nor large
/// ones small ones. For one thread.
class DigestQueue {
 public:
  /// Takes the job over, unless too many wait or are in work already; of all, of who asks, or of who asks about the
  /// user. Then false.
  [[nodiscard]] bool add(std::unique_ptr<DigestJob>& job);

  /// The next one that may be begun now; null when there is none. It counts until leave().
  [[nodiscard]] std::unique_ptr<DigestJob> take();
  void leave(const DigestJob& job);

  /// Whether some wait to be begun.
  [[nodiscard]] bool hasWaiting() const noexcept { return !waiting_.empty(); }

 private:
  /// What one user has in work.
  struct Begun {
    std::size_t large = 0;
    std::size_t small = 0;
  };

  [[nodiscard]] bool mayBegin(const DigestJob& job) const;
  [[nodiscard]] bool mayBeginBesides(const DigestJob& job) const;

  std::list<std::unique_ptr<DigestJob>> waiting_;
  /// Those that wait or are in work, in all, and by who asks and about whom.
  std::size_t count_ = 0;
  std::map<std::pair<uid_t, uid_t>, std::size_t> counts_;
  std::map<uid_t, Begun> begun_;
  std::size_t largeBegun_ = 0;
};

}  // namespace vanto::vexd
