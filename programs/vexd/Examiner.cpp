// SPDX-License-Identifier: Apache-2.0

// A request goes through these steps. A glance, on the thread that received it, at where the files are: at most so many
// at once, since a file system can take its time. The cache: most end there. Opening the files, and the cache once
// more. Then a queue: at most so many wait, and so many of one user. In its turn it looks into the cache again, since
// the same may have been asked before it.
#include "vexd/Examiner.h"

#include <optional>
#include <utility>

#include <VantoService/dispatch.h>

#include "vexd/CodeFinder.h"
#include "vexd/CodeGlance.h"
#include "vexd/MonotonicTime.h"
#include "vexd/Reply.h"
#include "vexd/limits.h"

namespace vanto::vexd {

namespace {

Report refused(Failure failure, const char* reason) {
  return {.refusal = {failure, reason}};
}

constexpr auto unwanted = "nobody waits for it any more";

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
    workers_.back()->examiner = this;
  }
}

Examiner::~Examiner() {
  for (const auto& worker : workers_) vanto_queue_release(worker->queue);
}

void Examiner::examine(int process, uid_t asker, Receiver receive, std::function<bool()> isWanted) {
  auto job = std::make_unique<DigestJob>();
  {
    const Opening opening(openings_);
    if (!opening.isAllowed()) return receive(refused(Failure::Busy, "too many processes are being looked at"));
    if (const FactsCache::Kept known = findAtAGlance(process)) return receive(*known);
    Refusal refusal;
    std::optional<ExaminedProcess> examined = ExaminedProcess::open(process, refusal);
    if (!examined) return receive({.refusal = refusal});
    job->asker = asker;
    job->user = examined->user;
    job->bytes = examined->bytes;
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
  if (!enqueue(job)) job->receive(refused(Failure::Busy, "too many executables wait to be digested"));
}

FactsCache::Kept Examiner::findAtAGlance(int process) {
  FactsKey key;
  if (!glanceAtCode(process, key)) return nullptr;
  const std::lock_guard lock(mutex_);
  static_cast<void>(trust_.directories());
  return cache_.find(key, trust_.generation());
}

/// Takes what is trusted now over into the job too.
FactsCache::Kept Examiner::findInCache(DigestJob& job) {
  const std::lock_guard lock(mutex_);
  const std::vector<code::TrustDirectory>& trust = trust_.directories();
  job.trust = trust_.generation();
  FactsCache::Kept kept = job.isCacheable ? cache_.find(job.key, job.trust) : nullptr;
  if (!kept) job.request.trust = trust;
  return kept;
}

void Examiner::keep(const DigestJob& job, const Report& report) {
  if (!job.isCacheable) return;
  const std::lock_guard lock(mutex_);
  cache_.keep(job.key, job.trust, std::make_shared<const Report>(report));
}

/// False when too many wait already.
bool Examiner::enqueue(std::unique_ptr<DigestJob>& job) {
  const std::lock_guard lock(mutex_);
  if (!queue_.add(job)) return false;
  beginWaiting();
  return true;
}

/// Gives those who have nothing to do what may be begun. With the lock.
void Examiner::beginWaiting() {
  for (const std::unique_ptr<Worker>& worker : workers_) {
    if (worker->job) continue;
    worker->job = queue_.take();
    if (!worker->job) return;
    dispatch_queue_submit(worker->queue, worker.get(), [](void* context) {
      Worker& submitted = *static_cast<Worker*>(context);
      submitted.examiner->run(submitted);
    });
  }
}

void Examiner::run(Worker& worker) {
  const Report report = digest(worker);
  std::unique_ptr<DigestJob> job;
  {
    // Counted no longer when the answer is there, or who asks again at once would be one too many.
    const std::lock_guard lock(mutex_);
    job = std::move(worker.job);
    queue_.leave(*job);
    beginWaiting();
  }
  job->receive(report);
}

Report Examiner::digest(Worker& worker) {
  DigestJob& job = *worker.job;
  if (!job.isWanted()) return refused(Failure::TimedOut, unwanted);
  if (job.isCacheable) {
    if (const FactsCache::Kept known = findInCache(job)) return *known;
  }
  std::optional<DigestAnswer> answer =
      worker.process.ask(job.request, limits::digestNanoseconds, [this, &job] { return isWorthGoingOn(job); });
  if (!answer) return failureOf(worker);
  // What the digest is not known of can satisfy nothing.
  if (answer->digest.empty()) return refused(Failure::Hidden, answer->reason.c_str());
  Report report{{}, std::move(*answer), job.device, job.inode, {}};
  if (!job.isCacheable) return report;
  report.reply.reset(createReply(report), vanto_release);
  keep(job, report);
  return report;
}

Report Examiner::failureOf(const Worker& worker) {
  if (worker.process.outcome() == DigesterProcess::Outcome::Unwanted) return refused(Failure::TimedOut, unwanted);
  if (worker.process.outcome() == DigesterProcess::Outcome::Failed) {
    return refused(Failure::Unavailable, "the executable could not be digested");
  }
  Report report = refused(Failure::TimedOut, "the executable takes too long to be digested");
  report.goodUntil = monotonicNow() + limits::failureNanoseconds;
  keep(*worker.job, report);
  return report;
}

/// For somebody, or for the next one who asks, as long as nobody has to wait for that.
bool Examiner::isWorthGoingOn(const DigestJob& job) {
  if (job.isWanted()) return true;
  const std::lock_guard lock(mutex_);
  return !queue_.hasWaiting();
}

}  // namespace vanto::vexd
