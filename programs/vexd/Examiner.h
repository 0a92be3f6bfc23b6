// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "vexd/DigestQueue.h"
#include "vexd/DigesterProcess.h"
#include "vexd/FactsCache.h"
#include "vexd/Report.h"
#include "vexd/TrustFiles.h"

namespace vanto::vexd {

/// Looks at processes: opens what they execute, and has it digested unless that was done before. Any thread; the
/// calling one waits for file systems only.
class Examiner {
 public:
  /// Gets a report, once; on the calling thread or on another one.
  using Receiver = std::function<void(const Report&)>;

  /// `program` is the path of the program that digests.
  Examiner(const std::string& program, std::vector<TrustFiles::Place> trust);
  ~Examiner();
  Examiner(const Examiner&) = delete;
  Examiner& operator=(const Examiner&) = delete;

  /// Looks at the process of a descriptor for the user `asker`. `isWanted` is asked before long work is begun, and
  /// while it keeps others waiting.
  void examine(int process, uid_t asker, Receiver receive, std::function<bool()> isWanted);

 private:
  /// A queue with the process that its work items ask.
  struct Worker {
    Worker(const std::string& program, vanto_queue_t itsQueue) : process(program), queue(itsQueue) {}

    DigesterProcess process;
    vanto_queue_t queue;
    /// What it is to do or does; the mutex is for whether there is any.
    std::unique_ptr<DigestJob> job;
    Examiner* examiner = nullptr;
  };

  /// The report that is kept; null when there is none.
  [[nodiscard]] FactsCache::Kept findAtAGlance(int process);
  [[nodiscard]] FactsCache::Kept findInCache(DigestJob& job);
  void keep(const DigestJob& job, const Report& report);
  [[nodiscard]] bool enqueue(std::unique_ptr<DigestJob>& job);
  void beginWaiting();
  void run(Worker& worker);
  [[nodiscard]] Report digest(Worker& worker);
  [[nodiscard]] Report failureOf(const Worker& worker);
  [[nodiscard]] bool isWorthGoingOn(const DigestJob& job);

  std::vector<std::unique_ptr<Worker>> workers_;
  std::atomic<int> openings_{0};
  std::mutex mutex_;
  // What follows belongs to the mutex.
  TrustFiles trust_;
  FactsCache cache_;
  DigestQueue queue_;
};

}  // namespace vanto::vexd
