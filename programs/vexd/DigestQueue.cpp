// SPDX-License-Identifier: Apache-2.0

// Who asks is counted, so that nobody can fill the queue by asking about others; and of one who asks each user that is
// asked about, so that the clients of a service can keep out those of one user only. Of each user one executable is in
// work at a time, whoever asks; beside a large one a small one too. Of large ones there is one in work, of whomever.
#include "vexd/DigestQueue.h"

#include <algorithm>

#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

bool isLarge(const DigestJob& job) noexcept {
  return job.bytes > limits::smallExecutableBytes;
}

}  // namespace

bool DigestQueue::add(std::unique_ptr<DigestJob>& job) {
  std::size_t ofAsker = 0;
  for (auto pair = counts_.lower_bound({job->asker, 0}); pair != counts_.end() && pair->first.first == job->asker;
       ++pair) {
    ofAsker += pair->second;
  }
  const auto pair = counts_.find({job->asker, job->user});
  const std::size_t ofPair = pair == counts_.end() ? 0 : pair->second;
  if (count_ >= limits::waiting || ofAsker >= limits::waitingPerAsker || ofPair >= limits::waitingPerUser) return false;
  ++count_;
  ++counts_[{job->asker, job->user}];
  waiting_.push_back(std::move(job));
  return true;
}

/// Whether nothing of its user is in work.
bool DigestQueue::mayBegin(const DigestJob& job) const {
  return !begun_.contains(job.user) && (!isLarge(job) || largeBegun_ == 0);
}

/// Whether nothing but a large one of its user is.
bool DigestQueue::mayBeginBesides(const DigestJob& job) const {
  const auto begun = begun_.find(job.user);
  return !isLarge(job) && (begun == begun_.end() || begun->second.small == 0);
}

std::unique_ptr<DigestJob> DigestQueue::take() {
  auto next = std::ranges::find_if(waiting_, [this](const auto& job) { return mayBegin(*job); });
  if (next == waiting_.end()) {
    next = std::ranges::find_if(waiting_, [this](const auto& job) { return mayBeginBesides(*job); });
  }
  if (next == waiting_.end()) return nullptr;
  std::unique_ptr<DigestJob> job = std::move(*next);
  waiting_.erase(next);
  Begun& begun = begun_[job->user];
  ++(isLarge(*job) ? begun.large : begun.small);
  if (isLarge(*job)) ++largeBegun_;
  return job;
}

void DigestQueue::leave(const DigestJob& job) {
  --count_;
  const auto pair = counts_.find({job.asker, job.user});
  if (--pair->second == 0) counts_.erase(pair);
  const auto begun = begun_.find(job.user);
  --(isLarge(job) ? begun->second.large : begun->second.small);
  if (isLarge(job)) --largeBegun_;
  if (begun->second.large + begun->second.small == 0) begun_.erase(begun);
}

}  // namespace vanto::vexd
