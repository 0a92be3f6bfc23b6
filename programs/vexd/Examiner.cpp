// SPDX-License-Identifier: Apache-2.0

// A request goes through these steps. A glance, on the thread that received it, at where the files are: at most so many
// at once, since a file system can take its time. The cache: most end there. Opening the files, and the cache once
// more. Then a queue, of a process that digests: at most so many wait, and so many of one user. In its turn it looks
// into the cache again, since the same may have been asked before it.
#include "vexd/Examiner.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <VantoService/dispatch.h>

#include "vexd/CodeFinder.h"
#include "vexd/CodeGlance.h"
#include "vexd/Reply.h"
#include "vexd/limits.h"

namespace vanto::vexd {

struct Examiner::Job {
  Examiner* examiner = nullptr;
  Worker* worker = nullptr;
  uid_t user = 0;
  dev_t device = 0;
  ino_t inode = 0;
  DigestRequest request;
  FactsKey key;
  /// Whether the key can be relied upon.
  bool isCacheable = false;
  std::uint64_t trust = 0;
  Receiver receive;
  std::function<bool()> isWanted;

  [[nodiscard]] Report reportOf(DigestAnswer answer) const { return {{}, std::move(answer), device, inode, {}}; }
};

namespace {

Report refused(Failure failure, const char* reason) {
  return {{failure, reason}, {}, 0, 0, {}};
}

/// Counts one opening while it lives, unless there are too many.
class Opening {
 public:
  explicit Opening(std::atomic<int>& count) noexcept : count_(count), isAllowed_(++count <= limits::openings) {}
  ~Opening() { --count_; }
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;

  [[nodiscard]] bool isAllowed() const noexcept { return isAllowed_; }

 private:
  std::atomic<int>& count_;
  const bool isAllowed_;
};

}  // namespace

Examiner::Examiner(const std::string& program, std::vector<TrustFiles::Place> trust) : trust_(std::move(trust)) {
  for (std::size_t i = 0; i < limits::digesters; ++i) {
    workers_.push_back(std::make_unique<Worker>(program, vanto_queue_create("org.vanto.vexd.digester")));
  }
}

Examiner::~Examiner() {
  for (const auto& worker : workers_) vanto_queue_release(worker->queue);
}

void Examiner::examine(int process, Receiver receive, std::function<bool()> isWanted) {
  auto job = std::make_unique<Job>();
  {
    const Opening opening(openings_);
    if (!opening.isAllowed()) return receive(refused(Failure::Busy, "too many processes are being looked at"));
    if (const FactsCache::Kept known = findAtAGlance(process)) return receive(*known);
    Refusal refusal;
    std::optional<ExaminedProcess> examined = ExaminedProcess::open(process, refusal);
    if (!examined) return receive({refusal, {}, 0, 0, {}});
    job->user = examined->user;
    job->device = examined->device;
    job->inode = examined->inode;
    job->request.files = findCode(std::move(*examined));
    job->isCacheable = FactsKey::of(job->request.files, job->key);
  }
  if (const FactsCache::Kept known = findInCache(*job)) return receive(*known);
  // Only now: most are found in the cache, for which no file is opened to be read.
  job->request.files.executable = openForReading(job->request.files.executable);
  if (!job->request.files.executable) return receive(refused(Failure::Hidden, "its executable may not be read"));
  job->receive = std::move(receive);
  job->isWanted = std::move(isWanted);
  job->examiner = this;
  job->worker = enqueue(*job);
  if (job->worker == nullptr) return job->receive(refused(Failure::Busy, "too many executables wait to be digested"));
  const vanto_queue_t queue = job->worker->queue;
  dispatch_queue_submit(queue, job.release(), [](void* context) {
    const std::unique_ptr<Job> submitted(static_cast<Job*>(context));
    submitted->examiner->run(*submitted, *submitted->worker);
  });
}

FactsCache::Kept Examiner::findAtAGlance(int process) {
  FactsKey key;
  if (!glanceAtCode(process, key)) return nullptr;
  const std::lock_guard lock(mutex_);
  static_cast<void>(trust_.directories());
  return cache_.find(key, trust_.generation());
}

/// Takes what is trusted now over into the job too.
FactsCache::Kept Examiner::findInCache(Job& job) {
  const std::lock_guard lock(mutex_);
  const std::vector<code::TrustDirectory>& trust = trust_.directories();
  job.trust = trust_.generation();
  FactsCache::Kept kept = job.isCacheable ? cache_.find(job.key, job.trust) : nullptr;
  if (!kept) job.request.trust = trust;
  return kept;
}

/// The worker that has the least to do; null when too many wait already.
Examiner::Worker* Examiner::enqueue(const Job& job) {
  const std::lock_guard lock(mutex_);
  std::size_t& ofUser = waitingOfUser_[job.user];
  if (waiting_ >= limits::waiting || ofUser >= limits::waitingPerUser) return nullptr;
  const auto least = std::min_element(workers_.begin(), workers_.end(),
                                      [](const auto& one, const auto& other) { return one->waiting < other->waiting; });
  ++waiting_;
  ++ofUser;
  ++(*least)->waiting;
  return least->get();
}

void Examiner::leave(const Job& job, Worker& worker) {
  const std::lock_guard lock(mutex_);
  --waiting_;
  --worker.waiting;
  const auto ofUser = waitingOfUser_.find(job.user);
  if (--ofUser->second == 0) waitingOfUser_.erase(ofUser);
}

void Examiner::run(Job& job, Worker& worker) {
  const Report report = digest(job, worker);
  // Counted no longer when the answer is there, or who asks again at once would be one too many.
  leave(job, worker);
  job.receive(report);
}

Report Examiner::digest(Job& job, Worker& worker) {
  if (!job.isWanted()) return refused(Failure::TimedOut, "nobody waits for it any more");
  if (job.isCacheable) {
    if (const FactsCache::Kept known = findInCache(job)) return *known;
  }
  std::optional<DigestAnswer> answer = worker.process.ask(job.request, limits::digestNanoseconds);
  if (!answer) return refused(Failure::Unavailable, "the executable could not be digested");
  // What the digest is not known of can satisfy nothing.
  if (answer->digest.empty()) return refused(Failure::Hidden, answer->reason.c_str());
  Report report = job.reportOf(std::move(*answer));
  if (!job.isCacheable) return report;
  report.reply.reset(createReply(report), vanto_release);
  const std::lock_guard lock(mutex_);
  cache_.keep(job.key, job.trust, std::make_shared<const Report>(report));
  return report;
}

}  // namespace vanto::vexd
